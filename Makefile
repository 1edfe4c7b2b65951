# Thin names for the CMake presets and the scripts; `make run` and `make test` start from a bare machine.
JOBS ?= $(shell nproc)
CAPTURES ?= $(firstword $(wildcard ../shared/captures) examples/captures)

run: build
	scripts/replay-captures build/bin/mrp $(CAPTURES)

test: build
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

# One application a process: the socket filter is that of the first engine.
bench: build
	build/bin/mrp_bench --benchmark_filter=Vlans
	build/bin/mrp_bench --benchmark_filter=Talkers

# Ten thousand simulated networks; about four minutes of processor time.
soak: build
	scripts/soak build/bin/mrp_sim 10000 $(JOBS)

check: build
	scripts/check-layering
	scripts/check-format
	scripts/check-exports build/lib/libmrp.so
	scripts/check-consumer build

tidy: build
	scripts/tidy build

format: packages
	git ls-files -z -- '*.h' '*.cpp' | xargs -0 -r clang-format -i

clean:
	rm -rf build build-asan build-clang build-fuzz

.PHONY: run test packages build asan bench soak check tidy format clean
