# The two entry points of the README: `make run` and `make test`.
BUILD_DIR ?= build
SANITIZE_DIR ?= build-sanitize
JOBS ?= 2
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSCRAWLET_WERROR=ON

.PHONY: deps configure build run test bench bench-e2e bench-draw bench-aids bench-zoom bench-screenshot clean format

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	@if [ -x $(BUILD_DIR)/scrawlet ]; then exec $(BUILD_DIR)/scrawlet; \
	else echo "scrawlet: built the model library and tests; there is no scrawlet executable yet"; fi

BENCH_TARGETS = scrawlet_bench scrawlet_ink_latency scrawlet_draw_run scrawlet_ink_compare \
	scrawlet_pointer_aids scrawlet_screenshot_bench

# The sources' checks, the benchmarks built (not run), every test, then the unit tests again
# under AddressSanitizer and UBSan.
test: build
	@scripts/check-sources
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target $(BENCH_TARGETS)
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)
	@cmake -S . -B $(SANITIZE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DSCRAWLET_WERROR=ON \
		-DSCRAWLET_SANITIZE=ON >/dev/null
	@cmake --build $(SANITIZE_DIR) -j $(JOBS)
	@ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS) -L unit

bench: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target scrawlet_bench
	@$(BUILD_DIR)/bench/scrawlet_bench

# Latency and CPU of the ink view under a private Xvfb, then the program beside gromit-mpx as
# seen on the screen; never part of `make test`.
bench-e2e: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target scrawlet_ink_latency scrawlet_ink_compare
	@$(BUILD_DIR)/bench/scrawlet_ink_latency
	@$(BUILD_DIR)/bench/scrawlet_ink_compare

# Start-up, memory, idle CPU and key latency of the program in draw mode under a private Xvfb.
bench-draw: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target scrawlet_draw_run
	@$(BUILD_DIR)/bench/scrawlet_draw_run

# CPU, wake-ups and latency of the spotlight and the cursor highlight under a private Xvfb.
bench-aids: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target scrawlet_pointer_aids
	@$(BUILD_DIR)/bench/scrawlet_pointer_aids

# The same for the zoom lens, the full-screen zoom and the capture of a whole display.
bench-zoom: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target scrawlet_pointer_aids
	@$(BUILD_DIR)/bench/scrawlet_pointer_aids magnifiers

# Shortcut-to-file time of a 1920x1080 screenshot and the ink's latency while one is taken.
bench-screenshot: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) --target scrawlet_screenshot_bench
	@$(BUILD_DIR)/bench/scrawlet_screenshot_bench

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	@rm -rf $(BUILD_DIR) $(SANITIZE_DIR)
