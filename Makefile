# Entry points; the README starts with `make run` and `make test`.
.PHONY: all deps build run test clean

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

clean:
	rm -rf build
