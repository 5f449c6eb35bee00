# Front door: every target installs what is missing, then builds through CMake.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
BUILD_DIR ?= build
ASAN_DIR ?= build-sanitize
TSAN_DIR ?= build-tsan
FUZZ_DIR ?= build-fuzz
WINDOWS_DIR ?= build-windows
# How long make fuzz runs the impulse fuzzer.
FUZZ_SECONDS ?= 60
# Optimised, with assertions left on.
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -g"

.PHONY: deps build test test-sanitize test-tsan fuzz build-windows test-windows bench bench-scan bench-peers demo clean

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD_DIR) $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

test-sanitize: deps
	cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DLXFX_SANITIZE=ON
	cmake --build $(ASAN_DIR) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir $(ASAN_DIR) --output-on-failure -j $(JOBS)

# ThreadSanitizer: the race tests are what it is for, but every test runs.
test-tsan: deps
	cmake -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DLXFX_SANITIZE_THREAD=ON
	cmake --build $(TSAN_DIR) -j $(JOBS)
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
	  ctest --test-dir $(TSAN_DIR) --output-on-failure -j $(JOBS)

# libFuzzer over the impulse-file path, seeded with generated images; the
# corpus it grows stays in $(FUZZ_DIR)/corpus for the next run.
fuzz: deps
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLXFX_FUZZ=ON \
	  -DLXFX_BUILD_TESTS=OFF -DLXFX_BUILD_BENCH=OFF -DLXFX_BUILD_TOOLS=OFF
	cmake --build $(FUZZ_DIR) -j $(JOBS) --target lxfx_impulse_fuzzer lxfx_impulse_fuzz_seeds
	mkdir -p $(FUZZ_DIR)/seeds $(FUZZ_DIR)/corpus
	$(FUZZ_DIR)/bin/lxfx_impulse_fuzz_seeds $(FUZZ_DIR)/seeds
	$(FUZZ_DIR)/bin/lxfx_impulse_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=4096 -timeout=20 \
	  -rss_limit_mb=2048 -print_final_stats=1 $(FUZZ_DIR)/corpus $(FUZZ_DIR)/seeds

# 64-bit Windows: lxaudioeffects.dll and the tests, cross-built with
# mingw-w64 against dependencies cross-built once from Debian's source
# packages (cached in $(WINDOWS_DIR)/deps), and run under Wine.
build-windows: deps
	bash scripts/build-windows-deps.sh $(WINDOWS_DIR)/deps
	cmake -S . -B $(WINDOWS_DIR) -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
	  -DLXFX_WINDOWS_PREFIX=$(abspath $(WINDOWS_DIR)/deps/prefix) \
	  -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -g" \
	  -DLXFX_BUILD_TOOLS=OFF -DLXFX_BUILD_BENCH=OFF -DLXFX_BUILD_GST=OFF
	cmake --build $(WINDOWS_DIR) -j $(JOBS)

test-windows: build-windows
	ctest --test-dir $(WINDOWS_DIR) --output-on-failure

bench: build
	$(BUILD_DIR)/bin/lxfx_bench

# lxfx replaygain over 100 generated 3-minute FLAC files (made once, about
# 2.2 GB in $(BUILD_DIR)/bench-scan-files), with one and two jobs.
bench-scan: build
	$(BUILD_DIR)/bin/lxfx_scan_bench

# lxfx against FFmpeg's nearest filters (and SoX's reverb), CPU time net of a
# pass-through run, interleaved rounds; installs FFmpeg and SoX if missing.
bench-peers: build
	bash bench/peers/run.sh $(BUILD_DIR)/bin/lxfx 3

demo: build
	$(BUILD_DIR)/bin/lxfx demo

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(TSAN_DIR) $(FUZZ_DIR) $(WINDOWS_DIR)
