# Entry points; the README starts with `make run` and `make test`.
.PHONY: all deps build run test bench clean target-deps target-build target-test

all: build

# Debian packages the host build needs (skipped when already present).
deps:
	@./tools/install-deps.sh host

build: deps
	cmake --preset host
	cmake --build --preset host

run: build
	./build/host/simulator/trafsim

test: build
	ctest --preset host

# Benchmarks of the HCC-D paths, with their ratios; not part of `make test`.
bench: build
	./build/host/bench/trafhandler_benchmarks

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
