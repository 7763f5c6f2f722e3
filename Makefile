# make run       install what is missing, build, start the program
# make test      install what the tests need, build every tree (release,
#                sanitizers, fuzzers) and run every test: the same as
#                `cmake --workflow --preset test` once the packages are there
#                (each fuzz target 20 s from a copy of its seeds, regressions
#                and corpus; each benchmark once, short)
# make bench     run the measurements under benchmarks/, against their targets
# make coverage  line and branch coverage of each folder (build-coverage/)
# make fuzz      run the fuzz targets for ten minutes each and keep the inputs
#                that add coverage in tests/fuzz/corpus/ (FUZZ_TIME=seconds a
#                target; FUZZ_FLAGS=--keep-going to go on past a failure)
# make install PREFIX=/some/dir   install the programs, launchers, icons, menu entry
# make package                    build/tarnwick_<version>_amd64.deb
#
# Each tree is a preset of CMakePresets.json; these targets call them.

JOBS      := $(shell nproc)
PREFIX    ?= /usr/local
FUZZ_TIME ?= 600
FUZZ_FLAGS ?=
export CMAKE_BUILD_PARALLEL_LEVEL := $(JOBS)
export CTEST_PARALLEL_LEVEL := $(JOBS)

.PHONY: run test bench coverage fuzz build install package deps deps-test deps-package deps-bench clean

deps:
	@scripts/install-deps.sh run

deps-test:
	@scripts/install-deps.sh test

deps-bench:
	@scripts/install-deps.sh bench

deps-package:
	@scripts/install-deps.sh package

build: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release

install: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset programs
	cmake --install build --prefix $(PREFIX)

package: deps-package
	@cmake --preset release >/dev/null
	@cmake --build --preset programs
	cd build && cpack

run: build
	cd build && ./tarnwick

test: deps-test
	cmake --workflow --preset test

coverage: deps-test
	cmake --workflow --preset coverage
	scripts/coverage-report.sh build-coverage

fuzz: deps-test
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	scripts/run-fuzzers.sh --keep $(FUZZ_FLAGS) build-fuzz $(FUZZ_TIME)

bench: deps-bench
	@cmake --preset bench >/dev/null
	@cmake --build --preset bench
	@scripts/run-benchmarks.sh build

clean:
	rm -rf build build-asan build-tsan build-fuzz build-coverage
