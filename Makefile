# Thin targets over the CMake presets; `make help` lists them.
.DEFAULT_GOAL := help
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local

# The example's input and output; the common licences stand on every Debian machine.
SOURCE ?= /usr/share/common-licenses
DESTINATION ?= $(CURDIR)/build/export

define build
	cmake --preset $(1)
	cmake --build --preset $(1) --parallel $(JOBS) $(2)
endef

.PHONY: help example check check-sanitizers install format clean

help: ## lists these targets
	@sed -n 's/^\([a-z0-9-]*\):.*## \(.*\)/  make \1\t\2/p' Makefile | expand -t 26

example: ## builds the library and runs its main job on real input (SOURCE=, DESTINATION=)
	tools/install-packages build
	$(call build,release,--target examples)
	rm -rf build/export
	build/release/examples/export/export $(SOURCE) $(DESTINATION)

check: ## builds and passes all tests
	tools/install-packages build check
	$(call build,dev)
	ctest --preset dev

check-sanitizers: ## the tests under ASan, UBSan and TSan
	tools/install-packages build check
	for preset in asan ubsan tsan; do \
	    cmake --preset $$preset && cmake --build --preset $$preset --parallel $(JOBS) && \
	    ctest --preset $$preset || exit 1; \
	done

install: ## installs the release build below PREFIX
	tools/install-packages build
	$(call build,release,--target TesCore)
	cmake --install build/release --prefix $(PREFIX)

format: ## lays out the C++ files as .clang-format says
	git ls-files -co --exclude-standard '*.h' '*.cpp' | xargs clang-format -i

clean: ## removes everything that was built
	rm -rf build
