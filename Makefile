# Entry points; the README starts with `make run` and `make test`.
.PHONY: all deps build run test bench clean

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

clean:
	rm -rf build
