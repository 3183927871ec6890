# The commands of the README; each is a line or two over CMake.
FILE ?= examples/service.conf
SECONDS ?= 30
STAGES ?=

.PHONY: run test soak bench fuzz setup build clean

run: build
	@build/release/bin/nqtool json "$(FILE)"

test: setup
	@tests/run.sh $(STAGES)

soak: setup
	@tests/soak/run.sh

bench: setup
	@bench/run.sh

fuzz: setup
	@fuzz/run.sh $(SECONDS)

setup:
	@cmake/setup.sh >&2

build: setup
	@cmake --preset release >&2
	@cmake --build --preset release --target nqinstance nqtool >&2

clean:
	rm -rf build
