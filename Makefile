# Reel Warp: the commands a newcomer needs. See README.md.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
OUT        ?= out
CMAKE_ARGS ?=

VST2_DIR ?= $(HOME)/.vst
VST3_DIR ?= $(HOME)/.vst3
LV2_DIR  ?= $(HOME)/.lv2
BIN_DIR  ?= $(HOME)/.local/bin

ARTEFACTS = $(BUILD)/ReelWarp_artefacts/Release

# ccache: paths below this folder are hashed as relative ones, so that a fresh
# clone elsewhere reuses what an earlier one compiled.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := true
export CCACHE_MAXSIZE ?= 8G

TSAN_BUILD ?= build-tsan

.PHONY: all deps configure build install demo assets test test-fast test-asan test-tsan soak bench clean

all: build

deps:
	@bash tools/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS)

build: configure
	cmake --build $(BUILD) -j$(JOBS)

# Copies the plug-ins into the user's plug-in folders and the tools into ~/.local/bin.
install: build
	mkdir -p $(VST2_DIR) $(VST3_DIR) $(LV2_DIR) $(BIN_DIR)
	cp -f $(ARTEFACTS)/VST/libReelWarp.so $(VST2_DIR)/ReelWarp.so
	rm -rf $(VST3_DIR)/ReelWarp.vst3 $(LV2_DIR)/ReelWarp.lv2
	cp -R $(ARTEFACTS)/VST3/ReelWarp.vst3 $(VST3_DIR)/
	cp -R $(ARTEFACTS)/LV2/ReelWarp.lv2 $(LV2_DIR)/
	cp -f $(ARTEFACTS)/Standalone/ReelWarp $(BIN_DIR)/reelwarp
	cp -f $(BUILD)/tools/reelwarp-render $(BIN_DIR)/reelwarp-render
	@echo "Installed:"
	@echo "  VST2        $(VST2_DIR)/ReelWarp.so"
	@echo "  VST3        $(VST3_DIR)/ReelWarp.vst3"
	@echo "  LV2         $(LV2_DIR)/ReelWarp.lv2"
	@echo "  standalone  $(BIN_DIR)/reelwarp"
	@echo "  renderer    $(BIN_DIR)/reelwarp-render"

# The main job: build, install, and render the built-in demo through the effect.
demo: install
	mkdir -p $(OUT)
	$(BUILD)/tools/reelwarp-render --demo $(OUT)/demo-reelwarp.wav --dry $(OUT)/demo-dry.wav \
	    --preset "Jet Tape" --plot $(OUT)/demo-reelwarp.png
	@echo "Listen: $(OUT)/demo-dry.wav (input) and $(OUT)/demo-reelwarp.wav (through Reel Warp, preset Jet Tape)"
	@echo "Look:   $(OUT)/demo-reelwarp.png (input and output side by side)"

# The face's images as the build draws them, in $(OUT)/assets, and a sheet that
# shows the buttons and knobs on the panel's grey (with its @2x twin) to look
# them over; ui_tests draws the whole face, backgrounds and reels, beside itself.
assets: configure
	cmake --build $(BUILD) -j$(JOBS) --target reelwarp-draw-assets
	rm -rf $(OUT)/assets
	$(BUILD)/tools/reelwarp-draw-assets $(OUT)/assets --sheet $(OUT)/assets-sheet.png
	@echo "Look: $(OUT)/assets-sheet.png and $(OUT)/assets-sheet@2x.png; every image is in $(OUT)/assets"

# The displays as they draw themselves, for a few settings, on one page (and
# its @2x twin) on the panel's grey, to look them over.
.PHONY: displays
displays: configure
	cmake --build $(BUILD) -j$(JOBS) --target reelwarp-draw-displays
	mkdir -p $(OUT)
	$(BUILD)/tools/reelwarp-draw-displays $(OUT)/displays.png
	$(BUILD)/tools/reelwarp-draw-displays $(OUT)/displays@2x.png --scale 2
	@echo "Look: $(OUT)/displays.png and $(OUT)/displays@2x.png"

# Everything CI runs: the release build's tests, then the sanitizer builds'.
test: test-fast test-asan test-tsan test-rtsan

test-fast: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)
	$(MAKE) soak SOAK_MINUTES=1

# Audio at the heaviest settings, faster than real time: finite, bounded, and
# memory flat after the first minute. CI runs a minute of it; the full hour is local.
SOAK_MINUTES ?= 60
soak: build
	$(BUILD)/tools/reelwarp-soak $(SOAK_MINUTES) 96000

# The fuzz targets are built here too (REELWARP_FUZZ), and each runs briefly after the tests.
ASAN_CONFIGURE = CC=clang-19 CXX=clang++-19 cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DREELWARP_SANITIZE=address -DREELWARP_BENCH=OFF -DREELWARP_FUZZ=ON
test-asan: deps
	$(ASAN_CONFIGURE)
	cmake --build $(ASAN_BUILD) -j$(JOBS) --target reelwarp_tests
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	    LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp ctest --output-on-failure -j$(JOBS)
	$(MAKE) fuzz-smoke

# libFuzzer targets (tests/fuzz), in the sanitizer build. Each runs
# FUZZ_SECONDS on a corpus under the build folder that starts from the
# committed seeds; crash inputs are written beside it. Any crash fails make.
FUZZ_TARGETS = fuzz_host_state fuzz_preset fuzz_parameter_text fuzz_host_calls
FUZZ_FLAGS   ?= -timeout=30 -rss_limit_mb=4096 -print_final_stats=1

.PHONY: fuzz-build fuzz-smoke fuzz

fuzz-build: deps
	$(ASAN_CONFIGURE)
	cmake --build $(ASAN_BUILD) -j$(JOBS) --target reelwarp_fuzzers

# A short run of each target on a fresh copy of its seeds. The fixed seed
# makes a failure here one that the same command repeats.
fuzz-smoke: FUZZ_SECONDS ?= 20
fuzz-smoke: FUZZ_FLAGS += -seed=1
fuzz-smoke: fuzz-build
	@for t in $(FUZZ_TARGETS); do \
	    dir=$(ASAN_BUILD)/fuzz-smoke/$$t; rm -rf $$dir; mkdir -p $$dir/corpus; \
	    cp tests/fuzz/corpus/$$t/* $$dir/corpus/; \
	    echo "== $$t: $(FUZZ_SECONDS) s"; \
	    ASAN_OPTIONS=abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	        $(ASAN_BUILD)/tests/fuzz/$$t $$dir/corpus -max_total_time=$(FUZZ_SECONDS) \
	        -artifact_prefix=$$dir/ $(FUZZ_FLAGS) > $$dir/log.txt 2>&1 \
	        || { tail -n 60 $$dir/log.txt; echo "$$t crashed: see $$dir"; exit 1; }; \
	    grep -E '^stat::(number_of_executed_units|average_exec_per_sec)' $$dir/log.txt || true; \
	done

# The long run: the corpus grows under the build folder from one run to the next.
fuzz: FUZZ_SECONDS ?= 600
fuzz: fuzz-build
	@failed=""; for t in $(FUZZ_TARGETS); do \
	    dir=$(ASAN_BUILD)/fuzz/$$t; mkdir -p $$dir/corpus; \
	    cp -n tests/fuzz/corpus/$$t/* $$dir/corpus/ 2>/dev/null; \
	    echo "== $$t: $(FUZZ_SECONDS) s, log $$dir/log.txt"; \
	    ASAN_OPTIONS=abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	        $(ASAN_BUILD)/tests/fuzz/$$t $$dir/corpus -max_total_time=$(FUZZ_SECONDS) \
	        -artifact_prefix=$$dir/ $(FUZZ_FLAGS) > $$dir/log.txt 2>&1 \
	        || { tail -n 60 $$dir/log.txt; failed="$$failed $$t"; }; \
	    grep -E '^stat::(number_of_executed_units|average_exec_per_sec)' $$dir/log.txt || true; \
	done; \
	if [ -n "$$failed" ]; then echo "crashed:$$failed (inputs under $(ASAN_BUILD)/fuzz/)"; exit 1; fi

# The concurrent parts under ThreadSanitizer.
test-tsan: deps
	CC=clang-19 CXX=clang++-19 cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DREELWARP_SANITIZE=thread -DREELWARP_PLUGINS=OFF -DREELWARP_BENCH=OFF
	cmake --build $(TSAN_BUILD) -j$(JOBS) --target reelwarp_tests
	cd $(TSAN_BUILD) && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 ctest --output-on-failure -j$(JOBS)

# The audio thread under RealtimeSanitizer (clang 19): every mode, blocks after the first.
RTSAN_BUILD ?= build-rtsan
.PHONY: test-rtsan
test-rtsan: deps
	CC=clang-19 CXX=clang++-19 cmake -S . -B $(RTSAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DREELWARP_RTSAN=ON -DREELWARP_PLUGINS=OFF -DREELWARP_BENCH=OFF
	cmake --build $(RTSAN_BUILD) -j$(JOBS) --target rtsan_tests
	cd $(RTSAN_BUILD) && ctest --output-on-failure -j$(JOBS) -L rtsan

# The whole processor last: it ends with the table of real-time factors.
bench: build
	$(BUILD)/bench/reelwarp_bench
	$(BUILD)/bench/reelwarp_display_bench
	$(BUILD)/bench/reelwarp_processor_bench

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(RTSAN_BUILD) $(OUT)
