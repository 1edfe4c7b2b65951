"""The manual pages and the completion say what the program says of itself: --help of every command, --check of every key."""

import os
import re
import shutil
import subprocess

import pytest

MRP = os.environ.get("MRP", os.path.join(os.path.dirname(__file__), "../../build/bin/mrp"))


def run(*command, **settings):
    return subprocess.run(command, capture_output=True, text=True, check=True, **settings).stdout


def commands(*path):
    """Every command that does something, with its help."""
    text = run(MRP, *path, "--help")
    found = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    if not found:
        yield path, text
        return
    for line in re.findall(r"^  (\S+)", found.group(1), re.M):
        yield from commands(*path, line)


def page(name):
    return run(MRP, "manual", name).replace("\\-", "-")


def options(text):
    return set(re.findall(r"--[a-z][a-z-]*", "\n".join(
        line for line in text.splitlines() if line.startswith("  -")))) - {"--help", "--version"}


def test_every_command_and_option_is_in_the_pages():
    all_commands = page("mrp")
    agent = page("mrp-agent")
    found = list(commands())
    assert len(found) > 20
    for path, text in found:
        heading = "mrp " + " ".join(path)
        section = re.search(r'^\.SS "' + re.escape(heading) + r'[" ](.*?)(?=^\.S[SH])', all_commands,
                            re.M | re.S)
        assert section, f"{heading} is in no page"
        within = agent if path == ("agent",) else section.group(0)
        for option in options(text):
            assert re.search(r"\\fB[^\n]*" + option + r"\b", within), f"{option} of {heading}"


def test_every_key_is_in_the_page_of_the_configuration(tmp_path):
    text = page("mrp.toml")
    file = tmp_path / "mrp.toml"
    file.write_text('[agent]\nports = ["v0"]\n[port.v0]\nregistration = "normal"\nleave-time = 1\n'
                    'leave-all-time = 9\n')
    checked = run(MRP, "agent", "--check", "--config", str(file))
    sections = re.split(r"^\.SH ", text, flags=re.M)
    table, keys = None, 0
    for line in checked.splitlines():
        if line.startswith("["):
            table = line.strip("[]").split(".")[0]
        elif line:
            key, value = line.split(" = ", 1)
            section = next(s for s in sections if s.startswith('"TABLE') and f"[{table}" in s)
            assert f"\\fB{key}\\fR\n" in section, f"{table}.{key}"
            keys += 1
    assert keys > 30
    # What is shown as an example is a configuration.
    example = re.search(r"\.EX\n(.*?)\.EE", text, re.S).group(1).replace("\\e", "\\")
    file.write_text(example)
    run(MRP, "agent", "--check", "--config", str(file))


@pytest.mark.skipif(not shutil.which("groff"), reason="no groff")
@pytest.mark.parametrize("name", ["mrp", "mrp-agent", "mrp.toml"])
def test_pages_format_without_a_complaint(name):
    done = subprocess.run(["groff", "-man", "-ww", "-Tascii"], input=run(MRP, "manual", name),
                          capture_output=True, text=True, check=True)
    assert done.stderr == "" and re.search(r"^mrp \d", done.stdout, re.M)


def completed(*words):
    """What bash offers for the last of these words."""
    script = run(MRP, "completion", "bash") + """
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _mrp; printf '%s\\n' "${COMPREPLY[@]}"
"""
    return set(run("bash", "-c", script, "bash", *words).split())


def test_bash_completes_what_help_shows(tmp_path):
    for path, text in commands():
        for n, word in enumerate(path):
            assert word in completed("mrp", *path[:n], word[:1])
        assert completed("mrp", *path, "--") >= options(text), path
    assert completed("mrp", "agent", "--mode", "") == {"bridge", "station"}
    assert completed("mrp", "show", "vlans", "--json", "--port", "l") == {"lo"}
    assert completed("mrp", "registration", "f") == {"fixed", "forbidden"}
    (tmp_path / "some.toml").write_text("")
    assert completed("mrp", "agent", "--config", f"{tmp_path}/s") == {f"{tmp_path}/some.toml"}


@pytest.mark.skipif(not shutil.which("zsh"), reason="no zsh")
def test_zsh_reads_its_script():
    run("zsh", "-n", "-c", run(MRP, "completion", "zsh"))


def test_the_list_of_promises_names_tests_that_there_are():
    root = os.path.join(os.path.dirname(__file__), "../..")

    def text(*path):
        with open(os.path.join(root, *path), encoding="utf-8") as file:
            return file.read()

    sources = {"": ""}
    for folder in ("tests/net", "tests/manual", "tests/daemon", "tests/platform/linux"):
        for name in os.listdir(os.path.join(root, folder)):
            if name.endswith((".py", ".cpp")):
                sources[name] = text(folder, name)
    named = 0
    for line in text("docs/promises.md").splitlines():
        last = ""
        for quoted in re.findall(r"`([^`\s]+)`", line):
            quoted = quoted.rstrip("…").rstrip("*")
            in_file = re.fullmatch(r"(test_\w+\.py)?(?:::(\w+))?", quoted)
            in_class = re.fullmatch(r"(\w+Test)?\.(\w*)", quoted)
            if in_file and quoted:
                last = in_file.group(1) or last
                assert not in_file.group(2) or "def " + in_file.group(2) in sources[last], quoted
                named += 1
            elif in_class:
                last = in_class.group(1) or last
                pattern = rf"TEST_?F?\({last}, {in_class.group(2)}"
                assert any(re.search(pattern, source) for source in sources.values()), quoted
                named += 1
    assert named > 60
