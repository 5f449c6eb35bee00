# Front door: every target installs what is missing, then builds through CMake.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
BUILD_DIR ?= build
ASAN_DIR ?= build-sanitize
TSAN_DIR ?= build-tsan
# Optimised, with assertions left on.
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -g"

.PHONY: deps build test test-sanitize test-tsan bench demo clean

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

bench: build
	$(BUILD_DIR)/bin/lxfx_bench

demo: build
	$(BUILD_DIR)/bin/lxfx demo

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(TSAN_DIR)
