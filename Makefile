# Newcomer commands. `make test` configures, builds and runs every test.
BUILD ?= build
JOBS ?= $(shell nproc)
# Reuse object files across build trees and checkouts when ccache is installed.
LAUNCHER := $(if $(shell command -v ccache),-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

.PHONY: all build demo test test-asan test-tsan bench fuzz fuzz-net fuzz-case install api-status clean

all: build

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(LAUNCHER)
	cmake --build $(BUILD) -j $(JOBS)

# The main job: query a network with evidence and show the beliefs. Builds
# only the library and the orvel command, not the tests.
demo:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(LAUNCHER)
	cmake --build $(BUILD) -j $(JOBS) --target orvel_cli
	$(BUILD)/bin/orvel query data/networks/asia.net -e smoke=yes -e xray=yes

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# How much of the C API that the Java natives wrap exists, per family.
api-status: build
	python3 tools/api_status.py src/jni/natives.def include/orvel.h $(BUILD)/liborvel.so --missing

test-asan:
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DORVEL_SANITIZE=ON $(LAUNCHER)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir build-asan --output-on-failure -j $(JOBS)

test-tsan:
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVEL_TSAN=ON $(LAUNCHER)
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan --output-on-failure -j $(JOBS) -R 'Parallel|Thread'

# Fuzzes a reader (libFuzzer, ASan + UBSan, clang) for FUZZ_SECONDS, seeded
# with the committed corpus: `make fuzz-net`, `make fuzz-case` (case and case data
# files), or FUZZ_TARGET=bif|xmlbif|uai
# with `make fuzz`; new inputs collect in build-fuzz/corpus-<target>.
FUZZ_SECONDS ?= 600
FUZZ_TARGET ?= net
fuzz-net: FUZZ_TARGET = net
fuzz-net: fuzz
fuzz-case: FUZZ_TARGET = case
fuzz-case: fuzz
fuzz:
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DORVEL_SANITIZE=ON -DORVEL_FUZZ=ON -DBUILD_TESTING=OFF
	cmake --build build-fuzz -j $(JOBS) --target $(FUZZ_TARGET)_fuzzer
	mkdir -p build-fuzz/corpus-$(FUZZ_TARGET)
	UBSAN_OPTIONS=halt_on_error=1 build-fuzz/fuzz/$(FUZZ_TARGET)_fuzzer -max_total_time=$(FUZZ_SECONDS) \
	  -max_len=16384 -timeout=20 -rss_limit_mb=2048 build-fuzz/corpus-$(FUZZ_TARGET) fuzz/corpus/$(FUZZ_TARGET)

# Benchmarks (Release); pass options with BENCH_ARGS, e.g.
# BENCH_ARGS='--benchmark_filter=Multiply --benchmark_min_time=0.01'.
BENCH_ARGS ?=
bench:
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DORVEL_BENCH=ON -DBUILD_TESTING=OFF
	cmake --build build-bench -j $(JOBS)
	for program in build-bench/bench/*_bench; do \
	  case $$program in */inference_bench) extra='--results=bench/RESULTS.md --notes=bench/results_notes.md' ;; *) extra= ;; esac; \
	  $$program $(BENCH_ARGS) $$extra || exit 1; done
	if [ -x build-bench/bench/binding_bench_java.sh ]; then build-bench/bench/binding_bench_java.sh; fi

# Installs the header, library, command, man page, CMake package and orvel.pc
# under PREFIX (default /usr/local).
PREFIX ?= /usr/local
install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD) build-asan build-tsan build-bench build-fuzz
