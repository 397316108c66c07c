# Everything goes through CMake; these targets are the front door.
#   make run    install missing packages, build, run the main job on the built-in materials
#   make test   the same build, then every test
#   make bench  the benchmarks (Release build)
#   make asan   AddressSanitizer + UndefinedBehaviorSanitizer build, all tests
#   make tsan   ThreadSanitizer build of the concurrency tests
#   make fuzz   a short run of every fuzz target (clang, libFuzzer, AddressSanitizer)
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
BUILD ?= build
CMAKE_FLAGS ?=
FUZZ_SECONDS ?= 30

.PHONY: all deps build run test bench asan tsan fuzz install-check clean

all: build

deps:
	@bash scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) > $(BUILD).configure.log 2>&1 || (cat $(BUILD).configure.log; exit 1)
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@bash scripts/run-main.sh $(BUILD)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

bench: deps
	@cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DMP_BUILD_TESTS=OFF -DMP_BUILD_EXAMPLES=OFF > build-bench.configure.log 2>&1 || (cat build-bench.configure.log; exit 1)
	@cmake --build build-bench -j $(JOBS) --target mp_benchmarks
	@bash scripts/run-bench.sh build-bench

asan: deps
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DMP_SANITIZE=address,undefined -DMP_BUILD_BENCH=OFF -DMP_BUILD_EXAMPLES=OFF > build-asan.configure.log 2>&1 || (cat build-asan.configure.log; exit 1)
	@cmake --build build-asan -j $(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS) -LE install

tsan: deps
	@cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DMP_SANITIZE=thread -DMP_OPENMP=OFF -DMP_BUILD_BENCH=OFF -DMP_BUILD_EXAMPLES=OFF -DMP_BUILD_TOOLS=OFF > build-tsan.configure.log 2>&1 || (cat build-tsan.configure.log; exit 1)
	@cmake --build build-tsan -j $(JOBS) --target mp_concurrency_tests
	@cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -L concurrency

fuzz: deps
	@cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ -DMP_BUILD_FUZZ=ON -DMP_OPENMP=OFF \
		-DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link -DMP_SANITIZE=address,undefined -DMP_BUILD_TESTS=OFF -DMP_BUILD_BENCH=OFF -DMP_BUILD_EXAMPLES=OFF -DMP_BUILD_TOOLS=OFF > build-fuzz.configure.log 2>&1 || (cat build-fuzz.configure.log; exit 1)
	@cmake --build build-fuzz -j $(JOBS)
	@bash scripts/run-fuzz.sh build-fuzz $(FUZZ_SECONDS)

clean:
	rm -rf build build-bench build-asan build-tsan build-fuzz *.configure.log
