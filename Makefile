# SPDX-License-Identifier: Apache-2.0
# The two commands that do everything on a fresh Debian 12 machine:
#   make demo   build the library and replay a sample boot and faults through it
#   make test   build and run every test: host, AddressSanitizer, ThreadSanitizer, armhf under qemu
# Both install the missing Debian packages first when run as root.

PRESETS := host host-asan host-tsan armhf
PACKAGES := cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev googletest \
            g++-arm-linux-gnueabihf qemu-user abigail-tools clang libclang-rt-14-dev libfuzzer-14-dev libcli11-dev nlohmann-json3-dev libyaml-cpp-dev valgrind \
            ipmitool openipmi python3-pyghmi libfreeipmi-dev prometheus-cpp-dev libcpp-httplib-dev libssl-dev libcrypt-dev prometheus jq curl chromium chromium-driver python3-selenium clang-format clang-tidy pandoc doxygen shellcheck

# build-<preset> and test-<preset> are pattern rules, which make does not apply to .PHONY targets.
.PHONY: all deps check test demo docs bench stress fuzz build-fuzz test-fuzz mutants clean format tidy

all: build-host

deps:
	@missing=$$(for p in $(PACKAGES); do dpkg-query -W -f='$${Status}\n' $$p 2>/dev/null | grep -q 'ok installed' || echo $$p; done); \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    echo "installing:" $$missing; \
	    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $$missing; \
	  else \
	    echo "missing Debian packages (run as root to install them):" $$missing; exit 1; \
	  fi; \
	fi

build-%: deps
	cmake --preset $* >/dev/null
	cmake --build --preset $*
	@[ "$*" != host ] || ln -sf build/host/compile_commands.json compile_commands.json

test-%: build-%
	ctest --preset $*

# The pre-submit check first, then the host, the sanitizers, the target, and a few seconds of
# each fuzz target.
test: check
	$(MAKE) --no-print-directory $(addprefix test-,$(PRESETS)) test-fuzz

demo: build-host
	build/host/tools/diagpanel replay --board 0x01030103 --svg build/host/demo.svg \
	  --sdr tools/diagpanel/samples/sdr-elist.txt tools/diagpanel/samples/boot-and-faults.scn
	@echo "drawn into build/host/demo.svg"

# The reference of the C interface (doxygen, docs/Doxyfile) into build/docs/html, failing on any
# undocumented declaration of the public headers, and the diagpanel(1) man page into
# build/host/docs. Doxygen checks only the members of a header that has a @file comment, so every
# header must have one.
docs: deps
	@for h in include/diagpanel/*.h; do \
	  grep -q '@file' $$h || { echo "$$h: no @file comment, so doxygen would not check it"; exit 1; }; \
	done
	rm -rf build/docs
	doxygen docs/Doxyfile
	cmake --preset host >/dev/null
	cmake --build build/host --target diagpanel_man
	@echo "the C interface: build/docs/html/index.html; the man page: man -l build/host/docs/diagpanel.1"

# What the library and the tool's replay cost, printed as a table (kept in BENCHMARKS.md): host
# programs and the tool in build/bench, the target's library and heap figure in
# build/bench-armhf. A few minutes.
BENCH_CONFIG := -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDIAGPANEL_TESTS=OFF \
                -DDIAGPANEL_TOOLS=OFF -DDIAGPANEL_BENCH=ON
bench: deps
	cmake -S . -B build/bench $(BENCH_CONFIG) -DDIAGPANEL_TOOLS=ON >/dev/null
	cmake --build build/bench
	cmake -S . -B build/bench-armhf --toolchain cmake/armhf.cmake $(BENCH_CONFIG) >/dev/null
	cmake --build build/bench-armhf
	bench/run.sh build/bench build/bench-armhf

# The fuzz targets (tests/fuzz): libFuzzer wants clang, so they have a build of their own, with the
# library's objects instrumented for coverage there alone. make fuzz runs each for FUZZ_SECONDS
# (FUZZ_TARGETS="hex_sel scenario" runs those alone).
FUZZ_CONFIG := -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
               -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link \
               -DDIAGPANEL_SANITIZE=address -DDIAGPANEL_TESTS=OFF -DDIAGPANEL_TOOLS=OFF \
               -DDIAGPANEL_FUZZ=ON
FUZZ_SECONDS ?= 200
build-fuzz: deps
	cmake -S . -B build/fuzz $(FUZZ_CONFIG) >/dev/null
	cmake --build build/fuzz

test-fuzz:
	@if command -v clang++ >/dev/null; then \
	  $(MAKE) --no-print-directory build-fuzz && ctest --test-dir build/fuzz -j2 --output-on-failure; \
	else echo "fuzz smoke pass skipped: no clang"; fi

fuzz: build-fuzz
	tests/fuzz/run.sh build/fuzz/tests/fuzz $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# Longer runs than make test's: the storm at full size (4 producers x STORM_FRAMES) under
# AddressSanitizer and ThreadSanitizer, and DEINIT_ROUNDS tear-downs of a blocked reader.
STORM_FRAMES ?= 100000
DEINIT_ROUNDS ?= 1000
stress: build-host-asan build-host-tsan
	DIAGPANEL_STORM_FRAMES=$(STORM_FRAMES) build/host-asan/tests/storm_test
	DIAGPANEL_STORM_FRAMES=$(STORM_FRAMES) build/host-tsan/tests/storm_test
	DIAGPANEL_DEINIT_ROUNDS=$(DEINIT_ROUNDS) build/host-tsan/tests/pipe_test --gtest_filter='*TearDown*'

# The pre-submit check: every tracked C/C++ file formatted, no include running upward
# (check/layers.sh), every shell script clean under shellcheck (check/scripts.sh), the library
# clean under the checks of .clang-tidy, and the tool and the host pieces under the wider host list
# (tools/.clang-tidy, host/.clang-tidy). make format fixes the formatting.
SOURCES = git ls-files '*.cpp' '*.hpp' '*.h'
LIBRARY_SOURCES = git ls-files 'src/*.cpp'
HOST_SOURCES = git ls-files 'tools/*.cpp' 'host/*.cpp'
# Each file picks up the .clang-tidy nearest to it. The last two steps both report in full before
# the check fails.
TIDY = xargs -P2 -n4 clang-tidy -p build/host --quiet --extra-arg=-w 2>/dev/null
check: build-host
	$(SOURCES) | xargs clang-format --dry-run -Werror
	check/layers.sh
	$(LIBRARY_SOURCES) | $(TIDY)
	status=0; check/scripts.sh || status=1; $(HOST_SOURCES) | $(TIDY) || status=1; exit $$status

# Planted faults in the library (the team's mutation run, beside the source tree):
# MUTANTS="--count 150 --seed 11" picks how many and which.
MUTANTS ?= --count 60 --seed 11
mutants:
	python3 ../shared/tools/mutants.py $(MUTANTS) $$(git ls-files 'src/*.cpp' 'src/*.hpp')

format:
	$(SOURCES) | xargs clang-format -i

tidy: build-host
	$(LIBRARY_SOURCES) | $(TIDY)
	$(HOST_SOURCES) | $(TIDY)

clean:
	rm -rf build compile_commands.json
