#include "cli/manual/Completion.h"

#include "cli/manual/Commands.h"

namespace Cli {
namespace {

// What a script has to know, as cases of the shell: by command the words that may follow, by
// command and option the words that it takes.
struct Cases {
  std::string paths;   // " show vlans" is a command
  std::string words;   // of a command: commands, options, choices of its arguments
  std::string values;  // of an option: words, or what gives them
};

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string caseOf(const std::string& pattern, const std::string& action) {
  return "    '" + pattern + "') " + action + " ;;\n";
}

std::string actionFor(const CLI::Option& option) {
  const auto choices = choicesOf(option);
  if (!choices.empty()) return "list='" + joined(choices) + "'";
  const std::string type = option.get_type_name();
  if (type == "PATH" || type == "FILE") return "files=1";
  if (type == "PORT" || type == "NAME,...") return "list=$(_mrp_ports)";
  return "list=";
}

void describe(const CLI::App& app, const std::string& path, Cases& cases) {
  std::vector<std::string> words;
  for (const CLI::App* command : commandsOf(app)) {
    words.push_back(command->get_name());
    const std::string below = path + " " + command->get_name();
    cases.paths += caseOf(below, "path=$next");
    describe(*command, below, cases);
  }
  bool files = false;
  for (const CLI::Option* argument : argumentsOf(app)) {
    const auto choices = choicesOf(*argument);
    words.insert(words.end(), choices.begin(), choices.end());
    files |= argument->get_name(true) == "INPUT";
  }
  for (const CLI::Option* option : optionsOf(app)) {
    for (const std::string& name : option->get_lnames()) {
      words.push_back("--" + name);
      if (option->get_expected_max() == 0) continue;
      cases.values += caseOf(path + " --" + name, actionFor(*option));
    }
  }
  cases.words += caseOf(path, "list='" + joined(words) + (files ? "' files=1" : "'"));
}

constexpr const char* kPorts = R"(
_mrp_ports() {
  local port
  for port in /sys/class/net/*; do printf '%s ' "${port##*/}"; done
}
)";

// Where the words before stand: at a command, and perhaps behind an option that takes a value.
std::string body(const Cases& cases) {
  return "  for word in \"${before[@]}\"; do\n"
         "    next=\"$path $word\"\n"
         "    case $next in\n" +
         cases.paths +
         "    esac\n"
         "  done\n"
         "  case \"$path $last\" in\n" +
         cases.values +
         "    *)\n"
         "    case $path in\n" +
         cases.words +
         "    esac ;;\n"
         "  esac\n";
}

}  // namespace

std::string completionScript(const CLI::App& app, const std::string& shell) {
  Cases cases;
  describe(app, "", cases);
  if (shell == "bash") {
    return "# Completion of mrp for bash.\n" + std::string(kPorts) +
           "\n_mrp() {\n"
           "  local path= next= word list= files= cur=${COMP_WORDS[COMP_CWORD]}\n"
           "  local last=${COMP_WORDS[COMP_CWORD-1]}\n"
           "  local -a before=(\"${COMP_WORDS[@]:1:COMP_CWORD-1}\")\n" +
           body(cases) +
           "  COMPREPLY=($(compgen -W \"$list\" -- \"$cur\"))\n"
           "  if [ -n \"$files\" ]; then\n"
           "    local IFS=$'\\n'\n"
           "    COMPREPLY+=($(compgen -f -- \"$cur\"))\n"
           "  fi\n"
           "}\n"
           "complete -o filenames -F _mrp mrp\n";
  }
  return "#compdef mrp\n# Completion of mrp for zsh.\n" + std::string(kPorts) +
         "\n_mrp() {\n"
         "  local path= next= word list= files= last=${words[CURRENT-1]}\n"
         "  local -a before=(\"${(@)words[2,CURRENT-1]}\")\n" +
         body(cases) +
         "  compadd -- ${=list}\n"
         "  [[ -z $files ]] || _files\n"
         "}\n"
         "if [ \"$funcstack[1]\" = \"_mrp\" ]; then _mrp \"$@\"; else compdef _mrp mrp; fi\n";
}

}  // namespace Cli
