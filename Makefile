# Thin wrapper over CMake. `make run` and `make test` install what is missing first.
BUILD ?= build
ASAN_BUILD ?= build-asan
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all bootstrap configure build run screenshots translations test test-asan test-tsan bench fuzz stress format clean

all: build

bootstrap:
	./scripts/bootstrap

configure:
	cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: bootstrap build
	$(BUILD)/src/ui/halvoren

# Every window and dialog rendered offscreen, in a throw-away profile, to PNG files in DIR.
# `make screenshots LANG=de_DE.UTF-8` renders them in that language: a LANG given here wins over
# an LC_ALL or LANGUAGE of the session.
DIR ?= screenshots
SHOT_LOCALE = $(if $(filter command line,$(origin LANG)),LC_ALL=$(LANG) LANGUAGE=)
screenshots: bootstrap build
	$(SHOT_LOCALE) QT_QPA_PLATFORM=offscreen $(BUILD)/tools/halvoren_screenshots $(DIR)
	$(SHOT_LOCALE) QT_QPA_PLATFORM=offscreen $(BUILD)/tools/halvoren_screenshots --dark $(DIR)/dark

# Brings translations/*.ts up to date with the texts in the sources and forms (lupdate); translate
# what it marks unfinished, then build. The build itself only reads them.
translations: configure
	cmake --build $(BUILD) --target translations

test: bootstrap build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

test-asan: bootstrap
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DHALVOREN_SANITIZE=ON -DHALVOREN_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

# The worker thread and its hand-over to the window, under ThreadSanitizer.
TSAN_BUILD ?= build-tsan
# The longest history, so that the earlier side of an excused report (a slot reading what the
# waiting worker handed over) can still be traced to the slot that the suppressions name.
TSAN_OPTIONS = halt_on_error=1 history_size=7 suppressions=$(CURDIR)/tests/tsan.supp
test-tsan: bootstrap
	cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DHALVOREN_TSAN=ON -DHALVOREN_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target test_packagethread test_platform test_package
	cd $(TSAN_BUILD) && TSAN_OPTIONS="$(TSAN_OPTIONS)" \
	  ./tests/test_platform --gtest_filter='StreamPipeline*'
	cd $(TSAN_BUILD) && TSAN_OPTIONS="$(TSAN_OPTIONS)" \
	  ./tests/test_package --gtest_filter='*LargeFiles*:*DecryptingAhead*:*StopOrFailure*:EntrySplitter*'
	cd $(TSAN_BUILD) && QT_QPA_PLATFORM=offscreen TSAN_OPTIONS="$(TSAN_OPTIONS)" \
	  ctest --output-on-failure -R test_packagethread

# BENCH_ARGS="--scale 0.1" for a quick run; the full run needs about 12 GB free in $TMPDIR.
BENCH_ARGS ?=
bench: bootstrap build
	$(BUILD)/bench/halvoren_bench $(BENCH_ARGS)

# FUZZ_SECONDS per target (default 60); the fuzz build is its own, with clang.
fuzz: bootstrap
	./scripts/fuzz

# The long forms of the kill and cancel loops.
stress: bootstrap build
	HALVOREN_STRESS_ROUNDS=1000 $(BUILD)/tests/test_hardening

format:
	find src tests bench fuzz -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)

# Program, command-line tool, guide, desktop entry, file types and icons below PREFIX. DESTDIR
# stages the same tree below another folder, as packagers do.
PREFIX ?= /usr/local
.PHONY: install package
install: build
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)"

# The Debian package, built by dpkg-buildpackage (debian/) from a clean copy of the sources and
# left in $(BUILD)/; lintian's verdict follows. Its own build lies below $(BUILD)/dpkg.
package: bootstrap
	packaging/build-deb . $(BUILD) $(JOBS)
	lintian $(BUILD)/dpkg/*.changes
