// The library as a host meets it: loaded by path, walked through its exports, its
// effect table and the QueryInterface rules.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "common/temp_config.h"
#include "vitrella/vitrella.h"

namespace vitrella {
namespace {

class LoadedLibrary : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    module_ = dlopen(VITRELLA_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module_, nullptr) << dlerror();
    getLibrary_ = reinterpret_cast<GetEffectsLibraryFn>(dlsym(module_, kGetEffectsLibraryExport));
    canUnload_ = reinterpret_cast<CanUnloadDLLNowFn>(dlsym(module_, kCanUnloadDLLNowExport));
    ASSERT_NE(getLibrary_, nullptr);
    ASSERT_NE(canUnload_, nullptr);
    ASSERT_NE(dlsym(module_, kDisplayPromotionWExport), nullptr);
  }
  void SetUp() override {
    library_ = getLibrary_();
    ASSERT_NE(library_, nullptr);
  }
  void TearDown() override {
    if (library_ != nullptr) {
      EXPECT_EQ(library_->Release(), 0u);
    }
  }

  static inline void* module_ = nullptr;
  static inline GetEffectsLibraryFn getLibrary_ = nullptr;
  static inline CanUnloadDLLNowFn canUnload_ = nullptr;
  IEffectLibrary* library_ = nullptr;
};

constexpr Guid kSomeOtherInterface{0x12345678, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};

TEST_F(LoadedLibrary, EachCallMakesItsOwnObject) {
  IEffectLibrary* second = getLibrary_();
  ASSERT_NE(second, nullptr);
  EXPECT_NE(second, library_);
  EXPECT_STREQ(second->GetLibraryName(), "Corvane Vitrella III");
  EXPECT_EQ(second->Release(), 0u);
}

TEST_F(LoadedLibrary, CountsReferencesAtomically) {
  EXPECT_EQ(library_->AddRef(), 2u);
  EXPECT_EQ(library_->AddRef(), 3u);
  EXPECT_EQ(library_->Release(), 2u);
  EXPECT_EQ(library_->Release(), 1u);
}

TEST_F(LoadedLibrary, AnswersOnlyItsOwnInterfaces) {
  void* out = nullptr;
  ASSERT_EQ(library_->QueryInterface(kIID_IUnknown, &out), kOk);
  EXPECT_EQ(out, library_);
  ASSERT_EQ(library_->QueryInterface(kIID_IEffectLibrary, &out), kOk);
  EXPECT_EQ(out, library_);
  EXPECT_EQ(library_->Release(), 2u);  // the two references taken above
  EXPECT_EQ(library_->Release(), 1u);

  // The build puts the language module and its table beside the library, so it offers
  // IMultiLingual; without them it would not (tests/language).
  ASSERT_EQ(library_->QueryInterface(kIID_IMultiLingual, &out), kOk);
  EXPECT_NE(out, nullptr);
  EXPECT_EQ(static_cast<IMultiLingual*>(out)->Release(), 1u);
  out = &out;
  EXPECT_EQ(library_->QueryInterface(kSomeOtherInterface, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(library_->QueryInterface(kIID_IEffectLibrary, nullptr), kPointerError);
}

TEST_F(LoadedLibrary, WalksTheEffectTableUpToTheFirstNull) {
  // Index 3 is Edge Smoother; the effects of other indices answer null until they exist.
  IVideoEffect* smoother = library_->CreateEffect(3);
  ASSERT_NE(smoother, nullptr);
  EXPECT_STREQ(smoother->GetEffectName(), "Edge Smoother");
  EXPECT_EQ(smoother->GetEffectTraits(), 961u);
  IVideoEffect* another = library_->CreateEffect(3);
  EXPECT_NE(another, smoother) << "each call makes a new instance";
  EXPECT_EQ(another->Release(), 0u);
  EXPECT_EQ(smoother->Release(), 0u);

  for (uint32_t index : {10u, 11u, 1000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(library_->CreateEffect(index), nullptr) << index;
  }
}

TEST_F(LoadedLibrary, SharedServicesAreOneObjectForEveryLibrary) {
  const testing::TempConfig config;
  // Help is handed to no browser of the person running the tests.
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  ISharedServices* services = library_->GetSharedServices();
  ASSERT_NE(services, nullptr);
  IEffectLibrary* another = getLibrary_();
  ISharedServices* same = another->GetSharedServices();
  EXPECT_EQ(same, services);
  void* unknown = nullptr;
  EXPECT_EQ(services->QueryInterface(kIID_IUnknown, &unknown), kOk);
  EXPECT_EQ(unknown, services);
  EXPECT_EQ(services->QueryInterface(kIID_IEffectLibrary, &unknown), kNoInterface);
  EXPECT_EQ(unknown, nullptr);
  // The services never keep a library alive, nor die with their last reference.
  EXPECT_EQ(another->Release(), 0u);
  EXPECT_GE(same->Release(), 1u);
  EXPECT_GE(services->Release(), 1u);
  EXPECT_GE(services->Release(), 1u);
  WideChar name[64];
  EXPECT_EQ(services->GetModuleFileName(name, 64), 20u);
  EXPECT_EQ(std::u16string(name), u"Vitrella3OpenGL64.so");
  WideChar help[4096];
  ASSERT_GT(services->GetHelpTarget(300, help, 4096), 0u);
  EXPECT_TRUE(std::u16string(help).ends_with(u"/Vitrella3Help.html#topic-300"));
  library_->ShowHelp(nullptr, 300);  // opens nothing without a desktop, and must not crash
}

TEST_F(LoadedLibrary, MakesANewPresetSaverEachCall) {
  IPresetSaver* saver = library_->CreatePresetSaver();
  ASSERT_NE(saver, nullptr);
  IPresetSaver* another = library_->CreatePresetSaver();
  EXPECT_NE(another, saver);
  EXPECT_EQ(another->Release(), 0u);
  EXPECT_EQ(saver->Release(), 0u);
}

TEST_F(LoadedLibrary, EffectsOutliveTheLibraryAndNeverBlockUnloading) {
  IVideoEffect* smoother = library_->CreateEffect(3);
  ASSERT_NE(smoother, nullptr);
  EXPECT_TRUE(canUnload_());
  EXPECT_EQ(library_->Release(), 0u);
  library_ = nullptr;
  EXPECT_STREQ(smoother->GetEffectName(), "Edge Smoother");
  EXPECT_TRUE(canUnload_());
  EXPECT_EQ(smoother->Release(), 0u);
}

TEST_F(LoadedLibrary, EffectAnswersItsInterfacesThroughOneCount) {
  IVideoEffect* effect = library_->CreateEffect(3);
  ASSERT_NE(effect, nullptr);
  void* out = nullptr;
  ASSERT_EQ(effect->QueryInterface(kIID_IUnknown, &out), kOk);
  EXPECT_EQ(out, effect);
  ASSERT_EQ(effect->QueryInterface(kIID_IVideoEffect, &out), kOk);
  EXPECT_EQ(out, effect);

  // The tooltip sub-object has a pointer of its own and shares the effect's count.
  ASSERT_EQ(effect->QueryInterface(kIID_IParamToolTip, &out), kOk);
  auto* tips = static_cast<IParamToolTip*>(out);
  EXPECT_NE(static_cast<void*>(tips), static_cast<void*>(effect));
  EXPECT_EQ(tips->AddRef(), 5u);
  void* back = nullptr;
  ASSERT_EQ(tips->QueryInterface(kIID_IVideoEffect, &back), kOk);
  EXPECT_EQ(back, effect);
  EXPECT_STREQ(tips->GetParamToolTip(0), "Adjusts how much of edge is smoothed");
  EXPECT_EQ(tips->GetParamToolTip(3), nullptr);

  // Edge Smoother has no GPU path.
  out = &out;
  EXPECT_EQ(effect->QueryInterface(kIID_IVideoGPUEffect, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);

  for (uint32_t left = 5; left > 0; --left) {
    EXPECT_EQ(effect->Release(), left) << "one release per reference taken";
  }
  EXPECT_EQ(effect->Release(), 0u);
}

TEST_F(LoadedLibrary, TableSlotsRefuseWhatLiesPastTheirEnds) {
  IVideoEffect* effect = library_->CreateEffect(3);
  ASSERT_NE(effect, nullptr);

  ParamInfo info;
  std::memset(&info, 0xAB, sizeof(info));
  EXPECT_FALSE(effect->GetParamInfo(3, &info));
  const ParamInfo cleared{};
  EXPECT_EQ(std::memcmp(&info, &cleared, sizeof(info)), 0) << "the record stays cleared";
  EXPECT_FALSE(effect->GetParamInfo(0, nullptr));

  EXPECT_EQ(effect->GetPresetName(5), nullptr);
  ParamValue value;
  std::memset(&value, 0x5C, sizeof(value));
  EXPECT_FALSE(effect->GetPresetValue(0, 3, &value));
  EXPECT_FALSE(effect->GetPresetValue(5, 0, &value));
  EXPECT_EQ(value.bytes[0], 0x5C) << "the output stays alone";
  EXPECT_FALSE(effect->GetPresetValue(0, 0, nullptr));
  EXPECT_EQ(effect->Release(), 0u);
}

}  // namespace
}  // namespace vitrella
