# Thin names for the CMake presets and the scripts; `make run` and `make test` start from a bare machine.
JOBS ?= $(shell nproc)
CAPTURES ?= $(firstword $(wildcard ../shared/captures) examples/captures)

run: build
	scripts/replay-captures build/bin/mrp $(CAPTURES)

# A browser is large and not to be had everywhere: the tests of the page are skipped without it.
test: build
	@scripts/install-packages browser || echo "no browser: the tests of the page will be skipped" >&2
	ctest --preset default -j$(JOBS)

packages:
	@scripts/install-packages

build: packages
	cmake --preset default
	cmake --build --preset default -j$(JOBS)

asan: packages
	cmake --preset asan
	cmake --build --preset asan -j$(JOBS)
	ctest --preset asan -j$(JOBS)

bench_programs: build
	@scripts/install-packages valgrind
	cmake --build --preset default -j$(JOBS) --target mrp_bench mrp_bench_no_trace

bench: bench_programs
	build/bin/mrp_bench --count --report=build/bench/report.json

bench-quick: bench_programs
	build/bin/mrp_bench --quick --count --expect=bench/instructions.txt --report=build/bench/report.json

# Instructions for an attribute alone, on a machine that is too busy for times; and a new table of them.
bench-count: bench_programs
	build/bin/mrp_bench --count-only --expect=bench/instructions.txt

bench-store: bench_programs
	build/bin/mrp_bench --count-only --store=bench/instructions.txt

# The agent on real interfaces: in namespaces on this kernel, and in a User-Mode Linux that has what not every kernel has.
# LONG=1: with repetitions that take minutes.
test-net: build
	LONG=$(LONG) scripts/test-net build/bin/mrp

# The pages that show a run, in a browser; and the pictures of them in docs/pictures.
test-page: build
	scripts/test-page build/bin/mrp

pictures: build
	scripts/pictures build/bin/mrp

# PYTEST='-k name': only those.
test-kernel: build
	@scripts/install-packages kernel || echo 'test-kernel: its packages cannot be had'
	scripts/test-kernel build/bin/mrp $(PYTEST)

# The agent on real interfaces against baselines of the same run.
bench-net: build
	cmake --build --preset default -j$(JOBS) --target mrp_net_bench
	scripts/bench-net build/bin/mrp build/bin/mrp_net_bench

# VLANs and streams from a talker through a bridge to stations, in namespaces, step by step.
demo: build
	@scripts/demo build/bin/mrp

# The command, the agent's service, its manual and examples of its configuration.
install: build
	cmake --install build $(if $(PREFIX),--prefix $(PREFIX))

# Ten thousand simulated networks; about four minutes of processor time.
soak: build
	scripts/soak build/bin/mrp_sim 10000 $(JOBS)

# Faults planted one after the other; prints which test catches each, and fails when one is not caught.
mutants: packages
	JOBS=$(JOBS) scripts/mutants

# A million lifecycles of attributes; the tests run a hundred thousand.
lifetimes: build
	MRP_LIFECYCLES=1000000 build/bin/mrp_tests --gtest_filter='*Lifetime*'

check: build check-hardening
	scripts/check-layering
	scripts/check-headers
	scripts/check-format
	@scripts/install-packages clang
	scripts/check-exports build
	scripts/check-consumer build

check-hardening: build
	scripts/check-hardening build

# libFuzzer targets in build-fuzz/bin; SECONDS is what each of them runs.
fuzz-build:
	@scripts/install-packages clang
	cmake --preset fuzz
	cmake --build --preset fuzz -j$(JOBS)

fuzz: fuzz-build
	scripts/fuzz 60

fuzz-long: fuzz-build
	scripts/fuzz $(or $(SECONDS),1800)

fuzz-coverage:
	@scripts/install-packages coverage
	cmake --preset coverage
	cmake --build --preset coverage -j$(JOBS)
	scripts/fuzz-coverage

valgrind: build
	@scripts/install-packages valgrind
	scripts/valgrind build/bin/mrp_tests

tidy: build
	scripts/tidy build

format: packages
	git ls-files -z -- '*.h' '*.cpp' | xargs -0 -r clang-format -i

clean:
	rm -rf build build-asan build-clang build-fuzz build-coverage

.PHONY: test-net test-kernel bench-net demo install test-page pictures
.PHONY: run test packages build asan bench bench-quick bench-count bench-store bench_programs soak mutants lifetimes check tidy format
.PHONY: clean
.PHONY: check-hardening fuzz-build fuzz fuzz-long fuzz-coverage valgrind
