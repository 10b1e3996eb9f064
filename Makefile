# SPDX-License-Identifier: Apache-2.0
# Entry points; the README starts with `make run` and `make test`.
.PHONY: all deps build run test bench clean target-deps target-build target-test

all: build

# Debian packages the host build needs (skipped when already present).
deps:
	@./tools/install-deps.sh host

build: deps
	cmake --preset host
	cmake --build --preset host

# Builds only what it runs (the module, the stand-in platform, the simulator)
# and says so in one line: configure's progress goes to
# build/configure-host.log (its errors still reach the terminal), the build's
# output is shown only when it fails.
run: deps
	@echo "make run: building trafsim, the module and the stand-in platform in build/host/"
	@mkdir -p build
	@[ -f build/host/build.ninja ] || cmake --preset host > build/configure-host.log
	@out=$$(cmake --build --preset host --target trafsim 2>&1) || { printf '%s\n' "$$out"; exit 1; }
	@./build/host/simulator/trafsim

test: build
	ctest --preset host

# Benchmarks of the HCC-D paths, with their ratios; not part of `make test`.
# Colour only on a terminal; what each ratio means: bench/README.md.
bench: build
	@./tools/install-deps.sh bench
	@echo "== Google Benchmark's output (its notices and table); the module's figures are the ratios at the end =="
	@./build/host/bench/trafhandler_benchmarks
	@echo
	@./bench/count-receive-instructions.sh build/host
	@echo "== Ratios, instruction counts and goals: bench/README.md =="

# The board build (32-bit ARM hard-float), its tests run under qemu-arm.
target-deps:
	@./tools/install-deps.sh target

target-build: target-deps
	cmake --preset target-arm
	cmake --build --preset target-arm

target-test: target-build
	ctest --preset target-arm

clean:
	rm -rf build
