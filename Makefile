# Thin targets over the CMake presets; `make help` lists them.
.DEFAULT_GOAL := help
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local

# The example's input and output; the common licences stand on every Debian machine.
SOURCE ?= /usr/share/common-licenses
DESTINATION ?= $(CURDIR)/build/export

PRESETS ?= dev

# What `make bench` measures, and how often.
FILTER ?= .
REPETITIONS ?= 5

# The Qt to build with: QT=5 or QT=6. Without a choice, tests cover both and what is made once is made with Qt 5.
QT ?=
ifneq ($(filter-out 5 6,$(QT)),)
    $(error QT is 5 or 6)
endif
qt_presets = $(if $(filter 6,$(QT)),,$(1)) $(if $(filter 5,$(QT)),,$(2))
release_preset := $(firstword $(call qt_presets,release,qt6-release))
qt6_packages := $(if $(filter 5,$(QT)),,qt6)

# The processors that check-arch tries.
tried_architectures := $(or $(ARCH),i386 arm64 s390x)

as_root = $(if $(filter 0,$(shell id -u)),,sudo)

define build
	cmake --preset $(1)
	cmake --build --preset $(1) --parallel $(JOBS) $(2)
endef

# Builds the library alone and runs a command on it, for each chosen Qt.
define each_release
	set -e; for preset in $(call qt_presets,release,qt6-release); do \
	    cmake --preset $$preset; \
	    cmake --build --preset $$preset --parallel $(JOBS) --target TesCore; \
	    $(1) build/$$preset/src/libTesCore*.so; \
	done
endef

# One after the other: each of them uses all cores.
.NOTPARALLEL:

# Every target that `make help` lists is a command, not a file.
.PHONY: $(shell sed -n 's/^\([a-z0-9-]*\):.*\#\# .*/\1/p' Makefile)

help: ## lists these targets
	@sed -n 's/^\([a-z0-9-]*\):.*## \(.*\)/  make \1\t\2/p' Makefile | expand -t 28

example: ## builds the library and runs its main job on real input (SOURCE=, DESTINATION=)
	tools/install-packages build
	$(call build,release,--target examples)
	rm -rf build/export build/export.tar # the default destination; any other is the user's, and the program refuses to replace it
	build/release/examples/export/export --straighten-quotes --archive "$(SOURCE)" "$(DESTINATION)"
	cd "$(DESTINATION)" && sha1sum --quiet --check MANIFEST.sha1 && echo "sha1sum agrees with the manifest."
	build/release/examples/tour/tour

check: ## builds and passes the tests of what is shipped, the release build; minutes (QT=)
	$(MAKE) test PRESETS=$(release_preset)
	@echo "make check: the tests of the preset $(release_preset) pass. They cover the library, the examples, the exported"
	@echo "names, and a program outside of this project that builds against the installed package."
	@echo "make ci adds debug builds, Clang and Qt 6, the sanitizers, lint, the binary interface and the reference pages."

ci: check-tests check-sanitizers lint check-abi docs ## what continuous integration runs after check; half an hour (QT=)
	@echo "make ci: $^ pass. make check-all adds what takes longer."

check-all: ci coverage check-arch check-deb check-faults check-filesystems check-power fuzz bench ## ci, and what takes longer

# Debug and release, GCC and Clang, Qt 5 and Qt 6; Clang's debug builds are the sanitizers'.
check-tests: ## the tests in debug and release builds (QT=)
	$(MAKE) test PRESETS="$(call qt_presets,dev release clang,qt6 qt6-clang)"

check-sanitizers: ## the tests under ASan, UBSan and TSan (QT=)
	$(MAKE) test PRESETS="$(call qt_presets,asan ubsan tsan,qt6-asan)"

check-faults: ## fails, and kills at, every system call of the file operations; races; a few minutes
	tools/install-packages build translations
	$(call build,release,--target faults)
	build/release/tests/faults

check-filesystems: ## the tests of the files module on ext4, XFS, btrfs, overlayfs, exFAT, NTFS, bindfs and sshfs; as root
	tools/install-packages build translations filesystems
	$(call build,release,--target test_filesystem test_files test_moves test_contents export)
	tools/check-filesystems build/release

check-power: ## cuts the power at each call of each moving operation on ten file systems; five minutes
	tools/install-packages build power
	$(call build,release,--target power)
	tools/check-power build/release/tests/power $(JOBS)

check-arch: ## the tests on i386, arm64 and s390x in Debian roots, or on ARCH= alone (armhf too); an hour (QT=)
	tools/install-packages arch $(filter arm64 armhf s390x,$(tried_architectures))
	set -e; for arch in $(tried_architectures); do \
	    tools/check-arch $$arch $(JOBS) $(call qt_presets,release,qt6-release); \
	done

check-x86: ## check-arch with ARCH=i386
	$(MAKE) check-arch ARCH=i386

test: ## builds and passes the tests of the chosen presets (PRESETS=)
	tools/install-packages build translations $(if $(filter %clang %san,$(PRESETS)),clang) $(if $(filter qt6%,$(PRESETS)),qt6)
	set -e; for preset in $(PRESETS); do CMAKE_BUILD_PARALLEL_LEVEL=$(JOBS) cmake --workflow --preset $$preset; done

coverage: ## the lines of src/ that the tests reach, in build/coverage/report; docs/coverage.md tells the others
	tools/install-packages build translations coverage
	rm -rf build/coverage # counters and notes of files that went would be counted as well
	$(MAKE) test PRESETS=coverage
	tools/coverage $(JOBS)

fuzz: ## runs every fuzz target for SECONDS (60) each
	tools/install-packages build clang
	$(call build,fuzz)
	tools/run-fuzz build/fuzz $(or $(SECONDS),60)

lint: ## clang-format, clang-tidy, clazy and cppcheck over all C++ files; the arrows; the width of prose
	tools/install-packages build clang translations bench format lint
	$(call build,lint)
	tools/lint $(JOBS)

translations: ## writes the template for translators, build/tescore.ts
	tools/install-packages build translations
	$(call build,release,--target translations)
	cp build/release/translations/tescore.ts build/tescore.ts

bench: ## measures each operation beside what a user would call instead, and draws it (FILTER=, REPETITIONS=)
	tools/install-packages build bench
	cmake --preset release -D TESCORE_BENCHMARKS=ON
	cmake --build --preset release --parallel $(JOBS) --target bench
	mkdir -p build/bench
	benchmarks/own-file-systems build/release/benchmarks/bench \
	    --benchmark_filter='$(FILTER)' --benchmark_repetitions=$(REPETITIONS) >build/bench/tables.md
	cat build/bench/tables.md
	benchmarks/charts.py build/bench/tables.md build/bench

check-abi: ## the binary interface of the release builds against its baseline, see docs/abi.md (QT=)
	tools/install-packages build abi $(qt6_packages)
	$(call each_release,tools/check-abi)

renew-interface: ## writes the baseline of the binary interface, the list of exports and the symbols files anew
	tools/install-packages build abi qt6
	$(call each_release,tools/renew-interface)

docs: ## the reference pages, in build/docs/html, and for Qt Assistant and Qt Creator, build/docs/TesCore.qch
	tools/install-packages docs
	tools/make-docs
	@echo "build/docs/html/index.html, build/docs/TesCore.qch"

deb: ## the Debian packages, in build/deb
	tools/install-packages build qt6 docs deb
	tools/make-deb $(JOBS)

check-deb: deb ## installs the Debian packages in a clean root and builds an outside program there
	tools/check-deb

install: ## installs the release build below PREFIX (QT=)
	tools/install-packages build $(if $(filter 6,$(QT)),qt6)
	$(call build,$(release_preset),--target TesCore)
	cmake --install build/$(release_preset) --prefix $(PREFIX)

format: ## lays out the C++ files as .clang-format says
	tools/install-packages format
	tools/source-files '*.h' '*.cpp' | xargs clang-format -i

clean: ## removes everything that was built, but for the Debian roots
	[ ! -d build ] || find build -mindepth 1 -maxdepth 1 ! -name '*-root*' -exec rm -rf {} +

clean-arch: ## removes the roots of other processors and what was built in them (ARCH= removes one)
	$(as_root) rm -rf --one-file-system \
	    $(foreach arch,$(or $(ARCH),i386 arm64 armhf s390x),build/$(arch)-root build/$(arch)-root.part)

clean-deb: ## removes the root in which check-deb installs
	$(as_root) rm -rf --one-file-system build/clean-root build/clean-root.part build/clean-root.layer
