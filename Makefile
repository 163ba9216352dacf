# Two commands do everything: `make run` and `make test`. `make run` needs only a C++
# compiler, CMake and make; `make test` installs GoogleTest when it is missing.
BUILD := build
ASAN_BUILD := build-asan
STRESS_BUILD := build-stress
JOBS := $(shell nproc 2>/dev/null || echo 2)
# The recursive makes that CMake runs do not announce every directory they enter.
MAKEFLAGS += --no-print-directory

.PHONY: all configure build run test test-fast test-sanitize test-stress deps clean install

all: build

deps:
	@if ! ls /usr/lib/*/libgtest.a >/dev/null 2>&1 && ! ls /usr/lib/libgtest.a >/dev/null 2>&1 && \
	    ! ls /usr/local/lib/libgtest.a >/dev/null 2>&1; then \
	  echo "installing GoogleTest (libgtest-dev)"; \
	  apt-get update -qq && apt-get install -y -qq libgtest-dev cmake g++ >/dev/null; \
	fi

configure:
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Only the interpreter: the test programs are left to `make test`.
run: configure
	@cmake --build $(BUILD) --target tsumugi -j $(JOBS)
	@./$(BUILD)/tsumugi

# Every test on the optimised build.
test-fast: deps build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS) --no-tests=error

# Every test again on a build with AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize: deps
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTSUMUGI_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS) --no-tests=error

# Every transcript, session and example again on the collector stress build, which checks at
# evaluation steps that nothing the evaluator still needs is left unrooted.
test-stress:
	cmake -S . -B $(STRESS_BUILD) -DCMAKE_BUILD_TYPE=Release -DTSUMUGI_STRESS=ON >/dev/null
	cmake --build $(STRESS_BUILD) -j $(JOBS)
	ctest --test-dir $(STRESS_BUILD) --output-on-failure -j $(JOBS) --no-tests=error

test: test-fast test-sanitize test-stress

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(STRESS_BUILD)

# Installs build/tsumugi, its man page, the manual, the example programs and the library
# common.lisp under $(PREFIX), staged under $(DESTDIR) when that is set.
PREFIX ?= /usr/local
install: configure
	@cmake --build $(BUILD) --target tsumugi -j $(JOBS)
	DESTDIR=$(DESTDIR) cmake --install $(BUILD) --prefix $(PREFIX)
