# The project's commands. Each target does its own set-up: missing Debian
# packages are installed, then the build is configured and made.

JOBS ?= $(shell nproc)
CMAKE ?= cmake
BUILD := build
CHECK_BUILD := build-check
BENCH_BUILD := build-bench
FUZZ_BUILD := build-fuzz
FUZZ_SECONDS ?= 60
SOAK_BUILD := build-soak
SOAK_ARGS ?=
COVERAGE_BUILD := build-coverage

.PHONY: all setup demo test check bench fuzz soak coverage install clean

all: $(BUILD)/CMakeCache.txt
	$(CMAKE) --build $(BUILD) -j $(JOBS)

setup:
	@bash scripts/setup.sh

$(BUILD)/CMakeCache.txt: | setup
	$(CMAKE) -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo

$(CHECK_BUILD)/CMakeCache.txt: | setup
	$(CMAKE) -S . -B $(CHECK_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKVD_SANITIZE=ON -DKVD_BUILD_EXAMPLES=ON

$(BENCH_BUILD)/CMakeCache.txt: | setup
	$(CMAKE) -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DKVD_BUILD_BENCH=ON -DKVD_BUILD_TESTS=OFF -DKVD_BUILD_EXAMPLES=OFF

# The main job: build and walk the library's typical road.
demo: setup $(BUILD)/CMakeCache.txt
	$(CMAKE) --build $(BUILD) -j $(JOBS) --target kvd_demo
	./$(BUILD)/examples/kvd_demo

test: setup $(BUILD)/CMakeCache.txt
	$(CMAKE) --build $(BUILD) -j $(JOBS)
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The examples and the demo are built and run too, under the same sanitizers.
check: setup $(CHECK_BUILD)/CMakeCache.txt
	$(CMAKE) -S . -B $(CHECK_BUILD) -DKVD_BUILD_EXAMPLES=ON > /dev/null
	$(CMAKE) --build $(CHECK_BUILD) -j $(JOBS)
	cd $(CHECK_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

bench: setup
	@bash scripts/setup.sh packages.txt packages-bench.txt
	$(MAKE) $(BENCH_BUILD)/CMakeCache.txt
	$(CMAKE) --build $(BENCH_BUILD) -j $(JOBS)
	$(CMAKE) --build $(BENCH_BUILD) --target run_benchmarks

# The suite (examples included, as in `make test`) on an instrumented build,
# then the line coverage of the library and the server.
coverage: setup
	@bash scripts/setup.sh packages.txt packages-coverage.txt
	$(CMAKE) -S . -B $(COVERAGE_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKVD_COVERAGE=ON
	$(CMAKE) --build $(COVERAGE_BUILD) -j $(JOBS)
	find $(COVERAGE_BUILD) -name '*.gcda' -delete
	cd $(COVERAGE_BUILD) && ctest --output-on-failure -j $(JOBS)
	gcovr --root . --filter 'src/' --filter 'include/' --filter 'server/' --gcov-ignore-parse-errors \
	  --print-summary --txt $(COVERAGE_BUILD)/coverage.txt $(COVERAGE_BUILD)
	@echo "per file: $(COVERAGE_BUILD)/coverage.txt"

# Each fuzz target for FUZZ_SECONDS seconds (clang and libFuzzer).
fuzz: setup
	CC=clang CXX=clang++ $(CMAKE) -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKVD_FUZZ=ON -DKVD_BUILD_TESTS=OFF -DKVD_BUILD_EXAMPLES=OFF -DKVD_FUZZ_SECONDS=$(FUZZ_SECONDS)
	$(CMAKE) --build $(FUZZ_BUILD) -j $(JOBS)
	$(CMAKE) --build $(FUZZ_BUILD) --target run_fuzzers

# The remote client against xrfpd for 10 minutes with two server restarts
# (not part of the test suite); SOAK_ARGS="--seconds 30" for a short run.
soak: setup
	$(CMAKE) -S . -B $(SOAK_BUILD) -DCMAKE_BUILD_TYPE=Release -DKVD_BUILD_SOAK=ON -DKVD_BUILD_TESTS=OFF -DKVD_BUILD_EXAMPLES=OFF
	$(CMAKE) --build $(SOAK_BUILD) -j $(JOBS) --target kvd_soak
	./$(SOAK_BUILD)/soak/kvd_soak $(SOAK_ARGS)

install: all
	$(CMAKE) --install $(BUILD) $(if $(PREFIX),--prefix $(PREFIX))

clean:
	rm -rf $(BUILD) $(CHECK_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD) $(SOAK_BUILD) $(COVERAGE_BUILD)
