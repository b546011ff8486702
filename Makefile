# The two front-door commands: `make test` builds everything and runs every
# test; `make demo` tours dslrctl on the embedded simulated camera.

BUILD ?= build
JOBS ?= 2
# The benchmarks are built with everything, so that they keep compiling;
# only `make bench` runs them.
CMAKE_FLAGS ?= -DVKRN_WERROR=ON -DVKRN_BUILD_TOOLS=ON -DVKRN_BUILD_BENCH=ON

.PHONY: all deps build test demo stress sanitize lint fuzz bench clean package

all: build

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS)

test: build package
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)
	bash scripts/test-abi32.sh
	bash scripts/test-install.sh $(PACKAGE_BUILD)
	bash scripts/test-windows.sh
	bash scripts/test-vm-sg.sh $(BUILD)

# The Debian packages (runtime library, -dev, tools) and the Windows archive,
# all in $(PACKAGE_BUILD)/out. The build takes Debian's hardening flags and
# installs under /usr; warnings are not errors here, as optimised builds
# bring the compiler's false alarms.
PACKAGE_BUILD ?= build-package
package: deps
	eval "$$(dpkg-buildflags --export=sh)" && \
	  cmake -S . -B $(PACKAGE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DCMAKE_INSTALL_PREFIX=/usr -DVKRN_BUILD_TESTS=OFF -DVKRN_BUILD_TOOLS=ON -DVKRN_WERROR=OFF && \
	  cmake --build $(PACKAGE_BUILD) -j$(JOBS)
	rm -rf $(PACKAGE_BUILD)/packages $(PACKAGE_BUILD)/out
	cd $(PACKAGE_BUILD) && cpack -G DEB
	mkdir -p $(PACKAGE_BUILD)/out
	cp $(PACKAGE_BUILD)/packages/*.deb $(PACKAGE_BUILD)/out/
	bash scripts/package-windows.sh $(PACKAGE_BUILD)/out

# A tour of dslrctl on the embedded camera; DEMO_PORT=unix:... takes it to a dslrsim.
demo: build
	DSLRCTL=$(BUILD)/tools/dslrctl/dslrctl bash scripts/dslrctl-tour.sh $(DEMO_PORT)

# The native suite STRESS_RUNS times (default 3) in a row while every
# processor is kept busy: no test's verdict may depend on the machine's speed.
STRESS_RUNS ?= 3
stress: build
	bash scripts/stress.sh $(BUILD) $(STRESS_RUNS)

# The suites under AddressSanitizer (with UndefinedBehaviorSanitizer) and
# ThreadSanitizer, each in its own build folder.
sanitize: deps
	for s in address thread; do \
	  cmake -S . -B $(BUILD)-$$s -G Ninja $(CMAKE_FLAGS) -DVKRN_SANITIZE=$$s && \
	  cmake --build $(BUILD)-$$s -j$(JOBS) && \
	  ctest --test-dir $(BUILD)-$$s --output-on-failure -j$(JOBS) || exit 1; \
	done

# The library's sources against .clang-tidy (bug-prone patterns, needless
# copies, a few readability checks).
lint: build
	run-clang-tidy -p $(BUILD) -quiet 'src/' 'sim/' 'tools/'

# The libFuzzer targets, each for FUZZ_SECONDS (default 60), with clang.
fuzz: deps
	bash scripts/run-fuzz.sh

# Speeds of the transfer paths against references taken in the same run
# (Google Benchmark, optimised build), then dslrctl get-all against cp -r.
# docs/performance.md has the figures and the machine they were taken on.
bench: deps
	cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVKRN_BUILD_BENCH=ON \
	  -DVKRN_BUILD_TESTS=OFF -DVKRN_BUILD_TOOLS=ON
	cmake --build build-bench -j$(JOBS)
	build-bench/bench/transfer_bench $(BENCH_FLAGS)
	bash bench/dslrctl_get_all.sh build-bench

clean:
	rm -rf $(BUILD) $(BUILD)-address $(BUILD)-thread build-m32 build-win32 build-win64 build-win-tool-include build-fuzz build-bench $(PACKAGE_BUILD)
