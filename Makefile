# The commands of the README; each is a line or two over CMake.
FILE ?= examples/service.conf
SECONDS ?= 30
STAGES ?=

.PHONY: run test soak bench fuzz build clean

run: build
	@build/release/bin/nqtool json "$(FILE)"

test:
	@cmake/setup.sh $(if $(STAGES),gate,test) >&2
	@tests/run.sh $(STAGES)

soak:
	@cmake/setup.sh test >&2
	@tests/soak/run.sh

bench:
	@cmake/setup.sh bench >&2
	@bench/run.sh

fuzz:
	@cmake/setup.sh test >&2
	@fuzz/run.sh $(SECONDS)

# What has been set up for the tests stays so: only a folder without a build is one without tests.
build:
	@cmake/setup.sh run >&2
	@[ -f build/release/build.ninja ] || cmake --preset release -DNQ_TESTS=OFF >&2
	@cmake --build --preset release --target nqinstance nqtool >&2

clean:
	rm -rf build
