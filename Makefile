# Newcomer commands. `make test` configures, builds and runs every test.
BUILD ?= build
JOBS ?= $(shell nproc)
# Reuse object files across build trees and checkouts when ccache is installed.
LAUNCHER := $(if $(shell command -v ccache),-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

.PHONY: all build demo test test-asan test-tsan bench fuzz-net fuzz-case clean

all: build

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(LAUNCHER)
	cmake --build $(BUILD) -j $(JOBS)

# The main job: query a network with evidence and show the beliefs.
demo: build
	$(BUILD)/bin/orvel query data/networks/asia.net -e smoke=yes -e xray=yes

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

test-asan:
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DORVEL_SANITIZE=ON $(LAUNCHER)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir build-asan --output-on-failure -j $(JOBS)

test-tsan:
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVEL_TSAN=ON $(LAUNCHER)
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan --output-on-failure -j $(JOBS) -R 'Parallel|Thread'

# Fuzzes a reader (fuzz-net: the NET reader; fuzz-case: the case file and
# case data file readers) with libFuzzer, ASan and UBSan under clang for
# FUZZ_SECONDS, seeded with the committed corpus; new inputs collect in
# build-fuzz/corpus-<name>.
FUZZ_SECONDS ?= 600
fuzz-net fuzz-case: fuzz-%:
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DORVEL_SANITIZE=ON -DORVEL_FUZZ=ON -DBUILD_TESTING=OFF
	cmake --build build-fuzz -j $(JOBS) --target $*_fuzzer
	mkdir -p build-fuzz/corpus-$*
	UBSAN_OPTIONS=halt_on_error=1 build-fuzz/fuzz/$*_fuzzer -max_total_time=$(FUZZ_SECONDS) \
	  -max_len=16384 -timeout=20 -rss_limit_mb=2048 build-fuzz/corpus-$* fuzz/corpus/$*

# Benchmarks (Release); pass options with BENCH_ARGS, e.g.
# BENCH_ARGS='--benchmark_filter=Multiply --benchmark_min_time=0.01'.
BENCH_ARGS ?=
bench:
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DORVEL_BENCH=ON -DBUILD_TESTING=OFF
	cmake --build build-bench -j $(JOBS)
	for program in build-bench/bench/*_bench; do \
	  case $$program in */inference_bench) extra=--results=bench/RESULTS.md ;; *) extra= ;; esac; \
	  $$program $(BENCH_ARGS) $$extra || exit 1; done

clean:
	rm -rf $(BUILD) build-asan build-tsan build-bench build-fuzz
