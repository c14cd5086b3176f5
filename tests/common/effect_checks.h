// What the checks that every effect joins need: parameters found by their labels, pictures
// made in the test, hashes of rendered pictures and the stored golden hashes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "common/test_frame.h"
#include "vitrella/effect.h"

namespace vitrella::testing {

// The index of the parameter with this label, within the group of that label when one is
// named (labels repeat across groups). Fails the test, and answers -1, when none is found.
inline int ParamIndex(IVideoEffect* effect, std::string_view label, std::string_view group = {}) {
  std::string inGroup;
  ParamInfo info{};
  for (uint32_t i = 0; effect->GetParamInfo(i, &info); ++i) {
    if (info.kind == ParamGroup) {
      inGroup = info.groupClose == 0 ? info.name : "";
      continue;
    }
    if (label == info.name && (group.empty() || group == inGroup)) return static_cast<int>(i);
  }
  ADD_FAILURE() << "no parameter \"" << label << "\" in \"" << group << "\"";
  return -1;
}

// The index of a built-in preset by its name, or -1.
inline int PresetIndex(IVideoEffect* effect, std::string_view name) {
  for (uint32_t i = 0; const char* preset = effect->GetPresetName(i); ++i) {
    if (name == preset) return static_cast<int>(i);
  }
  ADD_FAILURE() << "no preset \"" << name << "\"";
  return -1;
}

// A picture with something for every effect to work on: smooth ramps in all three
// colours, hard-edged shapes with stair-stepped borders, fine noise, and alpha that is
// opaque over most of the picture, falls off towards one corner and is clear in a band.
inline void FillSynthetic(TestFrame& frame, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> noise(-12, 12);
  const int w = frame.Width();
  const int h = frame.Height();
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int r = x * 255 / std::max(w - 1, 1);
      int g = y * 255 / std::max(h - 1, 1);
      int b = ((x * 7) ^ (y * 13)) & 0xFF;
      const int dx = x - w / 3;
      const int dy = y - h / 2;
      if (dx * dx + dy * dy < (h / 3) * (h / 3)) {  // a disc
        r = 240;
        g = 200;
        b = 30;
      }
      if ((x + 2 * y) / 3 % 9 == 0) {  // a stair-stepped diagonal line
        r = g = b = 20;
      }
      const int n = noise(random);
      int a = 255;
      if (x > w * 2 / 3 && y > h * 2 / 3) a = 255 - (x - w * 2 / 3) * 200 / std::max(w / 3, 1);
      if (y == h / 5) a = 0;
      auto clamp = [](int v) { return std::clamp(v, 0, 255); };
      frame.SetRgba(x, y, clamp(r + n), clamp(g - n), clamp(b + n / 2), clamp(a));
    }
  }
}

// FNV-1a over the picture's pixels in host row order, padding left out.
inline uint64_t PictureHash(TestFrame& frame) {
  uint64_t hash = 14695981039346656037ULL;
  for (uint8_t byte : frame.Pixels()) {
    hash ^= byte;
    hash *= 1099511628211ULL;
  }
  return hash;
}

inline uint64_t CombineHashes(uint64_t a, uint64_t b) {
  return (a ^ b) * 1099511628211ULL + 0x9E3779B97F4A7C15ULL;
}

// The golden hashes of tests/effects/golden_hashes.txt: one "hash key" pair per line.
// With VITRELLA_UPDATE_GOLDENS=1 in the environment, Check records what it gets instead
// of comparing, and the file is rewritten.
class GoldenHashes {
 public:
  GoldenHashes() {
    std::ifstream in(Path());
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::istringstream fields(line);
      std::string hex;
      fields >> hex;
      std::string key;
      std::getline(fields >> std::ws, key);
      hashes_[key] = std::strtoull(hex.c_str(), nullptr, 16);
    }
  }
  ~GoldenHashes() {
    if (!Updating() || !changed_) return;
    std::ofstream out(Path(), std::ios::trunc);
    out << "# Hashes of pictures that the effects render in tests/effects/effect_suite_test.cpp.\n"
           "# Rewritten by running effects_test with VITRELLA_UPDATE_GOLDENS=1.\n";
    for (const auto& [key, hash] : hashes_) {
      char hex[17];
      std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash));
      out << hex << ' ' << key << '\n';
    }
  }
  GoldenHashes(const GoldenHashes&) = delete;
  GoldenHashes& operator=(const GoldenHashes&) = delete;

  void Check(const std::string& key, uint64_t hash) {
    if (Updating()) {
      changed_ = changed_ || hashes_[key] != hash;
      hashes_[key] = hash;
      return;
    }
    const auto found = hashes_.find(key);
    if (found == hashes_.end()) {
      ADD_FAILURE() << "no golden hash for \"" << key << "\" (got " << std::hex << hash
                    << "); run effects_test with VITRELLA_UPDATE_GOLDENS=1 to record it";
      return;
    }
    EXPECT_EQ(found->second, hash) << "the picture of \"" << key << "\" changed";
  }

 private:
  static std::string Path() { return VITRELLA_TESTS_SOURCE_DIR "/effects/golden_hashes.txt"; }
  static bool Updating() {
    const char* update = std::getenv("VITRELLA_UPDATE_GOLDENS");
    return update != nullptr && std::string_view(update) == "1";
  }

  std::map<std::string, uint64_t> hashes_;
  bool changed_ = false;
};

}  // namespace vitrella::testing
