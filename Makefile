# Every target works on a fresh Debian 12 machine: missing packages are installed, the dependencies are cross-built once
# into build/deps, and Windows programs run in the project's own Wine prefix, build/prefix.

SHELL := /bin/bash
PACKAGES := scripts/install-packages.sh
DEPS := build/deps
WINE := scripts/wine-run.sh

.PHONY: help build dist test test-release demo lint coverage bench fuzz mutate ubsan soak deps clean
.DEFAULT_GOAL := build

help: ## list the targets
	@sed -n 's/^\([a-z-]*\):[^#]*## /\1 /p' Makefile | while read -r name text; do printf '  make %-12s %s\n' "$$name" "$$text"; done

deps: ## install packages and cross-build the dependencies
	@$(PACKAGES) build run
	@scripts/deps/build-deps.sh $(DEPS)

# Configures at the first build only; afterwards ninja does so itself when a CMake file has changed. Whoever builds the
# same at that time is waited for.
define build_preset
	@flock build/$(1).lock sh -c '{ [ -f build/$(1)/build.ninja ] || cmake --preset $(1); } && \
	    cmake --build --preset $(1) $(if $(2),--target $(2))'
endef

# The prefix is made before many programs ask for it at once.
define warm_prefix
	@$(WINE) cmd /c exit
endef

build: deps ## build what ships, into build/release/bin
	$(call build_preset,release,ship)

build-%: deps
	$(call build_preset,$*)

dist: deps ## make the packages, into build/dist; signed with SIGN=FILE.pfx
	@$(PACKAGES) dist
	$(call build_preset,release,ship)
	@scripts/make-dist.sh build/release build/dist $(SIGN)

test: deps ## build for debugging and run every test but the soak tests
	@$(PACKAGES) dist
	$(call build_preset,debug)
	$(call warm_prefix)
	@# What CI prints ends with ctest's own lines; people get the counts of the campaigns, too.
	@ctest --preset debug $(CTEST_FLAGS); result=$$?; \
	[ -n "$(CI)" ] || scripts/tallies.sh build/debug/Testing/Temporary/LastTest.log; exit $$result

test-release: deps ## run every test but the soak tests on what ships
	@$(PACKAGES) dist
	$(call build_preset,release)
	$(call warm_prefix)
	@ctest --preset release $(CTEST_FLAGS)

demo: deps ## install the package, end a session with unsaved text, and bring the text back
	@$(PACKAGES) dist demo
	$(call build_preset,release,ship)
	@DIST_ONLY=msi scripts/make-dist.sh build/release build/demo-package
	@samples/demo.sh build/demo-package/*.msi

lint: deps ## check formatting, static analysis, scripts and wording
	@$(PACKAGES) lint
	$(call build_preset,debug)
	@scripts/lint.sh build/debug

coverage: deps ## print the library's line coverage; fails under 90 %
	@$(PACKAGES) coverage dist
	$(call build_preset,coverage)
	$(call warm_prefix)
	@find build/coverage -name '*.gcda' -delete
	@# Windows programs name the build folder by Wine's drive; one at a time, since they write the same counters.
	@GCOV_PREFIX=Z: ctest --preset coverage -j1
	@scripts/coverage.py build/coverage Quorline 90

ubsan: deps ## run the tests but soak and packaging where what the language leaves undefined ends the program
	$(call build_preset,ubsan)
	$(call warm_prefix)
	@ctest --preset ubsan $(CTEST_FLAGS)

bench: deps ## measure the library beside its peers, in under ten minutes; the figures go to build/bench
	@$(PACKAGES) bench
	$(call build_preset,release,benchmarks)
	$(call warm_prefix)
	@scripts/bench.py build/release build/bench "$(BENCH)"

FUZZ_SECONDS ?= 60
fuzz: ## look for inputs that break a parser, FUZZ_SECONDS (60) for each
	@$(PACKAGES) fuzz
	@tests/fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

# One after another, hours long; what was tried is not tried again. MUTATE names rooms, files or words of the lists.
mutate: deps ## put small errors in, one by one, and see which the tests catch
	@$(PACKAGES) dist
	@scripts/mutate.py $(MUTATE)

soak: deps ## run the long tests and the fuzzers, 90 minutes on two processors
	@$(PACKAGES) fuzz
	$(call build_preset,release)
	@scripts/soak.sh build/release

clean: ## remove everything that was built; the cache of dependencies stays
	@scripts/wine-run.sh --stop
	@rm -rf build
