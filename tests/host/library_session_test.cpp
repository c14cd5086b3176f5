// The built library, loaded in this process the way the host loads it: by path and
// through its exports only.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "host/effect_catalog.h"
#include "host/host_error.h"
#include "host/library_loader.h"
#include "host/render_command.h"

namespace vitrella::host {
namespace {

using ::testing::HasSubstr;

const std::string kLibraryPath = std::string(VITRELLA_BIN_DIR) + "/Vitrella3OpenGL64.so";

TEST(LibraryLoader, RefusesMissingFilesAndModulesWithoutTheExports) {
  EXPECT_THROW(LibraryLoader("/no/such/Vitrella3OpenGL64.so"), HostError);
  Dl_info self{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::printf), &self), 0);
  try {
    LibraryLoader loader(self.dli_fname);  // the C library: loads, but is no effect library
    FAIL() << "loaded " << self.dli_fname;
  } catch (const HostError& error) {
    EXPECT_THAT(error.what(), HasSubstr("lacks the export GetEffectsLibrary"));
  }
}

TEST(ChooseValues, StartsFromDefaultsOrAPresetAndAppliesSettingsInOrder) {
  const LibraryLoader loader(kLibraryPath);
  ComRef<IEffectLibrary> library = loader.CreateLibrary();
  FoundEffect found = FindEffect(*library, "Edge Smoother");
  const std::vector<ParamInfo> params = ReadParams(*found.effect);

  RenderOptions options;
  std::vector<ParamValue> values = ChooseValues(*found.effect, params, options);
  ASSERT_EQ(values.size(), 3u);
  EXPECT_EQ(values[0].slider, 0.605f);

  options.preset = "font smoothing - weak";
  options.settings = {{"strength", "0.1"}, {"show", "on"}, {"0", "0.2"}};
  values = ChooseValues(*found.effect, params, options);
  EXPECT_EQ(values[0].slider, 0.2f);  // the later setting wins
  EXPECT_EQ(values[1].check, 1);
  EXPECT_EQ(values[2].check, 1);  // from the preset

  options.preset = "4";
  options.settings.clear();
  EXPECT_EQ(ChooseValues(*found.effect, params, options)[0].slider, 0.975f);
  options.preset = "5";
  EXPECT_THROW(ChooseValues(*found.effect, params, options), UsageError);
}

}  // namespace
}  // namespace vitrella::host
