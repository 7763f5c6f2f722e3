# make run    install what is missing, build, start the program
# make test   install what the tests need, build, run every test (each fuzz
#             target 20 s from a copy of its seeds, regressions and corpus)
# make bench  run the measurements under benchmarks/
# make fuzz   run the fuzz targets for ten minutes each and keep the inputs
#             that add coverage in tests/fuzz/corpus/ (FUZZ_TIME=seconds a
#             target; FUZZ_FLAGS=--keep-going to go on past a failure)
# make install PREFIX=/some/dir   install the programs, launchers, icons, menu entry
# make package                    build/tarnwick_<version>_amd64.deb

BUILD      := build
ASAN_BUILD := build-asan
FUZZ_BUILD := build-fuzz
TSAN_BUILD := build-tsan
# Every unit test that starts threads or processes runs under ThreadSanitizer:
# the workers of the power and heat tests, the sampled runs, and the file
# tests whose writers run side by side or are killed.
TSAN_TESTS ?= PowerTest.*:HeatTest.*:Workers.*:SampledTests.*:SharedFiles.*:KilledWriters.*:FileFaults.*:ResultsFile.*:UnprivilegedChild.*:Output.*
JOBS       := $(shell nproc)
CMAKE_ARGS := -DCMAKE_BUILD_TYPE=Release
PREFIX     ?= /usr/local
FUZZ_TIME  ?= 600
FUZZ_FLAGS ?=

.PHONY: run test bench fuzz fuzz-build build install package deps deps-test deps-package deps-bench clean

deps:
	@scripts/install-deps.sh run

deps-test:
	@scripts/install-deps.sh test

deps-bench:
	@scripts/install-deps.sh bench

deps-package:
	@scripts/install-deps.sh package

build: deps
	@cmake -S . -B $(BUILD) $(CMAKE_ARGS) -DTARNWICK_TESTS=OFF >/dev/null
	@cmake --build $(BUILD) --target tarnwick tarnwick-cli -j $(JOBS)

install: build
	@cmake --build $(BUILD) --target tarnwick_changelog tarnwick_manpages tarnwick_completion -j $(JOBS)
	cmake --install $(BUILD) --prefix $(PREFIX)

package: deps-package
	@cmake -S . -B $(BUILD) $(CMAKE_ARGS) -DTARNWICK_TESTS=OFF >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)
	cd $(BUILD) && cpack

run: build
	cd $(BUILD) && ./tarnwick

test: deps-test
	@cmake -S . -B $(BUILD) $(CMAKE_ARGS) -DTARNWICK_TESTS=ON >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTARNWICK_SANITIZE=ON -DTARNWICK_TESTS=ON >/dev/null
	@cmake --build $(ASAN_BUILD) --target unit_tests -j $(JOBS)
	@cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTARNWICK_TSAN=ON -DTARNWICK_TESTS=ON >/dev/null
	@cmake --build $(TSAN_BUILD) --target unit_tests -j $(JOBS)
	@$(MAKE) --no-print-directory fuzz-build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	$(BUILD)/tests/unit_tests --gtest_shuffle
	# One process: a process a test costs twice the time under the sanitizers.
	ASAN_OPTIONS=allocator_may_return_null=1 $(ASAN_BUILD)/tests/unit_tests
	TSAN_OPTIONS="suppressions=$(CURDIR)/tests/tsan.supp halt_on_error=1" \
		$(TSAN_BUILD)/tests/unit_tests --gtest_filter='$(TSAN_TESTS)'
	scripts/run-fuzzers.sh $(FUZZ_BUILD) 20

fuzz-build:
	@CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTARNWICK_FUZZ=ON -DTARNWICK_TESTS=ON >/dev/null
	@cmake --build $(FUZZ_BUILD) --target fuzz_results fuzz_config fuzz_merge fuzz_document fuzz_output fuzz_report -j $(JOBS)

fuzz: deps-test fuzz-build
	scripts/run-fuzzers.sh --keep $(FUZZ_FLAGS) $(FUZZ_BUILD) $(FUZZ_TIME)

bench: deps-bench
	@cmake -S . -B $(BUILD) $(CMAKE_ARGS) -DTARNWICK_TESTS=ON >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)
	@scripts/run-benchmarks.sh $(BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD) $(TSAN_BUILD)
