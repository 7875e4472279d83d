# Front door: `make run`, `make test`, `make bench`, plain `make` builds.
BUILD_DIR    := build
TEST_DIR     := build/sanitize
GENERATOR    := Ninja
JOBS         ?= $(shell nproc)

# Where ccache is installed, rebuilds of another checkout (a fresh clone, a
# second worktree) reuse what was compiled before: paths are taken relative to
# the checkout and the build folder is not part of the key.
ifneq ($(shell command -v ccache),)
LAUNCHER     := -DCMAKE_CXX_COMPILER_LAUNCHER=ccache
export CCACHE_BASEDIR  := $(CURDIR)
export CCACHE_NOHASHDIR := 1
endif

.PHONY: all deps build run demo test bench deb install clean

all: build

deps:
	@bash scripts/install-deps.sh

$(BUILD_DIR)/build.ninja:
	cmake -S . -B $(BUILD_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=Release -DVANTREL_TESTS=OFF $(LAUNCHER)

$(TEST_DIR)/build.ninja:
	cmake -S . -B $(TEST_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANTREL_SANITIZE=ON $(LAUNCHER)

build: $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: deps
	@$(MAKE) --no-print-directory build
	@bash scripts/run-app.sh $(BUILD_DIR)/bin

# The frame engine's built-in demo, rendered to build/demo/.
demo: deps
	@$(MAKE) --no-print-directory build
	@bash scripts/run-demo.sh $(BUILD_DIR)/bin

test: deps $(TEST_DIR)/build.ninja
	cmake --build $(TEST_DIR) -j $(JOBS)
	bash scripts/run-tests.sh $(TEST_DIR)

bench: deps
	@$(MAKE) --no-print-directory build
	$(BUILD_DIR)/bin/vantrel-bench-engine --size 1920x1080
	$(BUILD_DIR)/bin/vantrel-bench-engine --size 1920x1080 --overlays all
	$(BUILD_DIR)/bin/vantrel-bench-engine --size 3840x2160
	bash scripts/with-test-services.sh $(BUILD_DIR)/bin/vantrel-bench-record
	bash scripts/with-test-services.sh $(BUILD_DIR)/bin/vantrel-bench-record --full

# A Debian package of the Release build: build/vantrel_VERSION_ARCH.deb.
deb: deps
	@$(MAKE) --no-print-directory build
	cd $(BUILD_DIR) && cpack -G DEB

# Installs the Release build under PREFIX (default /usr/local).
PREFIX ?= /usr/local
install: build
	cmake --install $(BUILD_DIR) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD_DIR)
