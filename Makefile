# SPDX-License-Identifier: Apache-2.0
# The newcomer's two commands are `make demo` and `make test`; both install what they need. `make check` goes through
# everything but what takes long or wants a machine for itself: test-long, test-reproducible, fuzz, mutants and the
# benchmarks. `make help` lists all.
# CMake and its presets do the building: this file only puts the steps in order.
SHELL := /bin/bash
JOBS ?= $(shell nproc)
# Tests wait for much of their time.
TEST_JOBS ?= $(shell expr 5 \* $(JOBS) / 2)
FUZZ_SECONDS ?= 60
RUNS ?= 1
# How often a test may run until it passes. What fails once and then passes is shown twice in the output.
TRIES ?= 1
# The records hold the whole output of each test, in which skipped ones are told.
CTEST = ctest --output-on-failure --no-tests=error -j $(TEST_JOBS) --repeat until-pass:$(TRIES) --output-junit tests.xml \
    --test-output-size-passed 4000000

# The steps take turns whatever -j says: tests in real time share the machine with nothing.
.NOTPARALLEL:
.PHONY: help demo demo-windows test check test-native test-soak test-asan test-tsan test-windows test-long test-page lint \
    build build-asan build-tsan build-windows run-asan run-tsan run-windows run-packages run-soak \
    bench bench-loss fuzz mutants docs pictures package test-packages test-reproducible packages-native packages-all clean

help: ## list the targets
	@sed -n 's/^\([a-z-]*\):.*## /\1\t/p' $(MAKEFILE_LIST) | expand -t 20

packages-native:
	@cmake/install-packages native

packages-all:
	@cmake/install-packages all

# $(call build_preset,PRESET[,TARGET...]): configure and build, with one line of progress each; the logs lie in build/.
build_preset = cmake/run-quietly "Configuring $(1)" build/configure-$(1).log cmake --preset $(1) && \
	cmake/run-quietly "Building $(1)" build/build-$(1).log \
	    cmake --build --preset $(1) -j $(JOBS) $(if $(2),-t $(2))

# What the Windows build takes from the machine's cache, made where it is not there yet.
windows_libraries = cmake/build-windows-libraries && cmake/fetch-sources http && cmake/fetch-sources zlib

# What the command before has started is ended, and its exit status kept.
end_wine = status=$$?; cmake/wine-prefix --end build/windows/wine* build/windows/bench/wine; exit $$status

build: packages-native ## build for Linux into build/linux
	@$(call build_preset,linux)

build-windows: packages-all ## cross-build for Windows x64 into build/windows
	@$(windows_libraries)
	@$(call build_preset,windows)

demo: packages-native ## record a simulated target through the Linux receiver
	@$(call build_preset,linux,products)
	@simulator/demo/plugin_demo --build build/linux

demo-windows: packages-all ## the same through the Windows receiver under Wine
	@$(windows_libraries)
	@$(call build_preset,linux,products)
	@$(call build_preset,windows,products)
	@simulator/demo/plugin_demo --build build/linux --wine build/windows; $(end_wine)

test: test-native ## the native suite: unit, contract and end-to-end tests on Linux
	@cmake/name-skipped build/linux/tests.xml
	@echo "The native tests passed."

check: ## all but the long runs: native, lint, documents, browser, soak, sanitizers, Windows under Wine, packages
	@cmake/check
	@cmake/name-skipped build/linux*/tests.xml build/linux/soak.xml build/windows/tests.xml build/page.log build/packages.log
	@echo "All checks passed: native, format and lint, browser, soak, sanitizers, Windows under Wine, packages."

test-native: build ## the fast loop: what `make test` runs
	@$(CTEST) --test-dir build/linux -LE 'long|soak'

test-soak: build run-soak ## a minute at 1.2 MB/s through the plug-in; SOAK_SECONDS=1800 for longer, SOAK_BUSY=1 beside a busy process
run-soak:
	@$(CTEST) --verbose --output-junit soak.xml --test-dir build/linux -L soak

# With Debian's Python, which has Debian's selenium. Frames beside a recording are judged from LIVE_SECONDS=60 on, on a
# machine that does nothing else.
test-page: packages-all ## the page that shows recordings, in a real browser; LIVE_SECONDS=60 judges a minute of live view
	@$(call build_preset,linux,products)
	@set -o pipefail; TARNEL_LIVE_SECONDS=$(LIVE_SECONDS) TARNEL_TRIES=$(TRIES) tests/page/run_page_tests build/linux 2>&1 | tee build/page.log

build-asan: packages-all
	@$(call build_preset,linux-asan)

test-asan: build-asan run-asan ## the tests under the address and undefined-behaviour sanitizers
run-asan:
	@$(CTEST) --test-dir build/linux-asan -LE 'long|native-only'

build-tsan: packages-all
	@cmake/fetch-sources http
	@$(call build_preset,linux-tsan)

test-tsan: build-tsan run-tsan ## those with threads under the thread sanitizer
run-tsan:
	@$(CTEST) --test-dir build/linux-tsan -LE 'long|native-only'

test-windows: build build-windows run-windows ## the tests of the Windows build under Wine
run-windows:
	@$(CTEST) --test-dir build/windows -LE long; $(end_wine)

test-long: build build-windows ## the tests that take a minute or more each
	@$(CTEST) --test-dir build/linux -L long
	@$(CTEST) --test-dir build/windows -L long; $(end_wine)

lint: packages-all ## format and static checks
	@cmake/lint

bench: build build-windows ## measure speed beside dd, cat, cp and bare loops (some 15 minutes)
	@bench/run_benchmarks; $(end_wine)

bench-loss: build build-windows ## measure what is lost at the pace of a wire, RUNS (1) of each (some 45 minutes)
	@bench/run_loss_table --runs $(RUNS); $(end_wine)

fuzz: packages-all ## run every fuzz target for FUZZ_SECONDS (60) seconds, JOBS at a time
	@$(call build_preset,linux-fuzz)
	@fuzz/run_fuzzers $(FUZZ_SECONDS) $(JOBS)

mutants: packages-all build ## change one line at a time and see that the tests notice (hours)
	@cmake/fetch-sources http
	@python3 tests/mutation/mutants.py

# Files in packages carry the time of the last commit, so that the same sources make the same bytes. The sources may be
# somebody else's.
package: export SOURCE_DATE_EPOCH ?= $(shell git -c safe.directory='*' log -1 --format=%ct 2>/dev/null)
package: export TZ = UTC
package: packages-all ## the packages: .deb and .tar.gz for Linux, .zip for Windows, into build/packages
	@[ -n "$$SOURCE_DATE_EPOCH" ] || { echo "make package: git tells no time of a last commit: give SOURCE_DATE_EPOCH=SECONDS" >&2; exit 1; }
	@rm -rf build/packages build/linux-package/packages build/windows/packages
	@cmake/build-linux-xerces && cmake/fetch-sources http
	@$(call build_preset,linux-package,products)
	@umask 022; cmake/run-quietly "Packing for Linux" build/pack-linux.log cpack --config build/linux-package/CPackConfig.cmake
	@$(windows_libraries)
	@$(call build_preset,windows,products)
	@umask 022; cmake/run-quietly "Packing for Windows" build/pack-windows.log cpack --config build/windows/CPackConfig.cmake
	@mkdir -p build/packages && cp build/linux-package/packages/*.* build/windows/packages/*.zip build/packages/
	@ls -l build/packages

test-packages: package run-packages ## install each package into an empty root, record with it, and remove it
run-packages:
	@set -o pipefail; python3 tests/packages/test_packages.py build/packages 2>&1 | tee build/packages.log

test-reproducible: package ## make the packages again, elsewhere and later, and compare them byte for byte
	@tests/packages/compare_packages

docs: packages-all ## the reference of the host's interfaces, into build/docs/html; a warning is a failure
	@mkdir -p build/docs
	@cmake/run-quietly "Reading the headers" build/docs.log doxygen docs/Doxyfile

pictures: packages-all ## draw the README's pictures anew
	@$(call build_preset,linux,products)
	@docs/pictures/draw_terminal build/linux docs/pictures/terminal.svg
	@docs/pictures/draw_page build/linux docs/pictures/page.png

clean: ## remove the build trees
	rm -rf build
