// The binary contract: each operation of each interface sits in the slot of the table
// of virtual functions that a separately built host expects.
#include <gtest/gtest.h>

#include <cstring>

#include "vitrella/vitrella.h"

namespace vitrella {
namespace {

// Under the Itanium ABI a pointer to a virtual member function holds one plus the
// byte offset of its slot in the table.
template <typename Method>
size_t Slot(Method method) {
  struct Representation {
    uintptr_t pointer;
    ptrdiff_t adjustment;
  };
  static_assert(sizeof(Method) == sizeof(Representation));
  Representation r;
  std::memcpy(&r, &method, sizeof(r));
  EXPECT_EQ(r.pointer % 2, 1u) << "not a virtual function";
  return (r.pointer - 1) / sizeof(void*);
}

TEST(Slots, UnknownComesFirst) {
  EXPECT_EQ(Slot(&IUnknown::QueryInterface), 0u);
  EXPECT_EQ(Slot(&IUnknown::AddRef), 1u);
  EXPECT_EQ(Slot(&IUnknown::Release), 2u);
}

TEST(Slots, EffectLibrary) {
  EXPECT_EQ(Slot(&IEffectLibrary::GetLibraryName), 3u);
  EXPECT_EQ(Slot(&IEffectLibrary::CreateEffect), 4u);
  EXPECT_EQ(Slot(&IEffectLibrary::ShowHelp), 5u);
  EXPECT_EQ(Slot(&IEffectLibrary::GetSharedServices), 6u);
  EXPECT_EQ(Slot(&IEffectLibrary::CreateFrameProcessor), 7u);
  EXPECT_EQ(Slot(&IEffectLibrary::CreatePresetSaver), 8u);
}

TEST(Slots, SharedServices) {
  EXPECT_EQ(Slot(&ISharedServices::Initialise), 3u);
  EXPECT_EQ(Slot(&ISharedServices::SetVersion), 4u);
  EXPECT_EQ(Slot(&ISharedServices::SetDialogOptions), 5u);
  EXPECT_EQ(Slot(&ISharedServices::SetHostInfo), 6u);
  EXPECT_EQ(Slot(&ISharedServices::SetLanguage), 7u);
  EXPECT_EQ(Slot(&ISharedServices::GetKnobsDragVertical), 8u);
  EXPECT_EQ(Slot(&ISharedServices::GetCropOverscan), 9u);
  EXPECT_EQ(Slot(&ISharedServices::ShowHelp), 10u);
  EXPECT_EQ(Slot(&ISharedServices::ShowOptions), 11u);
  EXPECT_EQ(Slot(&ISharedServices::GetModuleFileName), 12u);
  EXPECT_EQ(Slot(&ISharedServices::GetFileBesideModule), 13u);
  EXPECT_EQ(Slot(&ISharedServices::GetResourceFileName), 14u);
  EXPECT_EQ(Slot(&ISharedServices::GetHostName), 15u);
  EXPECT_EQ(Slot(&ISharedServices::GetHelpTarget), 16u);
  EXPECT_EQ(Slot(&ISharedServices::CheckForUpdate), 17u);
  EXPECT_EQ(Slot(&ISharedServices::GetUpdateText), 18u);
  EXPECT_EQ(Slot(&ISharedServices::GetUpdatePath), 19u);
}

TEST(Slots, Effects) {
  EXPECT_EQ(Slot(&IVideoEffect::GetEffectName), 3u);
  EXPECT_EQ(Slot(&IVideoEffect::GetEffectTraits), 4u);
  EXPECT_EQ(Slot(&IVideoEffect::GetParamInfo), 5u);
  EXPECT_EQ(Slot(&IVideoEffect::Render), 6u);
  EXPECT_EQ(Slot(&IVideoEffect::GetPresetName), 7u);
  EXPECT_EQ(Slot(&IVideoEffect::GetPresetValue), 8u);
  EXPECT_EQ(Slot(&IVideoGPUEffect::BeginGPUFrameSetup), 9u);
  EXPECT_EQ(Slot(&IVideoGPUEffect::RenderGPU), 10u);
  EXPECT_EQ(Slot(&IVideoGPUEffect::SetupGPUFrame), 11u);
  EXPECT_EQ(Slot(&IVideoGPUEffect::RenderGPUFrame), 12u);
  EXPECT_EQ(Slot(&IParamToolTip::GetParamToolTip), 3u);
}

TEST(Slots, HostObjects) {
  EXPECT_EQ(Slot(&IEffectHost::GetParamValue), 3u);
  EXPECT_EQ(Slot(&IEffectHost::GetFrame), 5u);
  EXPECT_EQ(Slot(&IEffectHost::ReleaseFrame), 6u);
  EXPECT_EQ(Slot(&IEffectHost::GetHostInfo), 8u);
  EXPECT_EQ(Slot(&IHostAllocator::AllocateImage), 5u);
  EXPECT_EQ(Slot(&IHostAllocator::FreeImage), 6u);
}

TEST(Slots, FrameProcessorKeepsItsDestructorBeforeTheLastOperation) {
  EXPECT_EQ(Slot(&IFrameProcessor::CopyFrame), 3u);
  EXPECT_EQ(Slot(&IFrameProcessor::ResizeFrame), 4u);
  EXPECT_EQ(Slot(&IFrameProcessor::ReverseChannels), 5u);
  EXPECT_EQ(Slot(&IFrameProcessor::ConvertYUY2ToBGRA), 6u);
  EXPECT_EQ(Slot(&IFrameProcessor::ConvertBGRAToYUY2), 7u);
  EXPECT_EQ(Slot(&IFrameProcessor::SetChannel), 8u);
  EXPECT_EQ(Slot(&IFrameProcessor::CompositeFrames), 9u);
  EXPECT_EQ(Slot(&IFrameProcessor::SwapChannelsInPlace), 10u);
  EXPECT_EQ(Slot(&IFrameProcessor::PremultiplyAlpha), 11u);
  EXPECT_EQ(Slot(&IFrameProcessor::ConvertYUVToRGB), 12u);
  EXPECT_EQ(Slot(&IFrameProcessor::ConvertRGBToYUV), 13u);
  EXPECT_EQ(Slot(&IFrameProcessor::FlipFrameInPlace), 14u);
  EXPECT_EQ(Slot(&IFrameProcessor::FlipFrame), 15u);
  EXPECT_EQ(Slot(&IFrameProcessor::CopyChannel), 16u);
  EXPECT_EQ(Slot(&IFrameProcessor::InvertChannel), 17u);
  EXPECT_EQ(Slot(&IFrameProcessor::SquareFrame), 18u);
  EXPECT_EQ(Slot(&IFrameProcessor::SquareRootFrame), 19u);
  EXPECT_EQ(Slot(&IFrameProcessor::ClampFrameBelow), 20u);
  EXPECT_EQ(Slot(&IFrameProcessor::Destroy), 21u);
  EXPECT_EQ(Slot(&IFrameProcessor::CropResizeFrame), 22u);
}

TEST(Slots, GpuServices) {
  EXPECT_EQ(Slot(&IGPUServices::CreateTexture), 9u);
  EXPECT_EQ(Slot(&IGPUServices::CreateBuffer), 10u);
  EXPECT_EQ(Slot(&IGPUServices::CreateProgram), 12u);
  EXPECT_EQ(Slot(&IGPUServices::ReleaseBuffer), 13u);
  EXPECT_EQ(Slot(&IGPUServices::ReleaseTexture), 14u);
  EXPECT_EQ(Slot(&IGPUServices::ReleaseProgram), 16u);
  EXPECT_EQ(Slot(&IGPUServices::SetRenderTarget), 17u);
  EXPECT_EQ(Slot(&IGPUServices::QueryEffectGPU), 20u);
  EXPECT_EQ(Slot(&IGPUServices::GetDiagnosticText), 24u);

  EXPECT_EQ(Slot(&IGLContext::GetExtensionTable), 5u);
  EXPECT_EQ(Slot(&IGLContext::GetIntegerv), 6u);
  EXPECT_EQ(Slot(&IGLContext::GetFloatv), 7u);
  EXPECT_EQ(Slot(&IGLContext::Enable), 8u);
  EXPECT_EQ(Slot(&IGLContext::Disable), 9u);
  EXPECT_EQ(Slot(&IGLContext::BlendColor), 10u);
  EXPECT_EQ(Slot(&IGLContext::BlendEquationSeparate), 11u);
  EXPECT_EQ(Slot(&IGLContext::BlendFuncSeparate), 12u);
  EXPECT_EQ(Slot(&IGLContext::UseProgram), 13u);
  EXPECT_EQ(Slot(&IGLContext::BindBuffer), 14u);

  EXPECT_EQ(Slot(&IGPUProgram::Use), 3u);
  EXPECT_EQ(Slot(&IGPUProgram::SetInt), 4u);
  EXPECT_EQ(Slot(&IGPUProgram::SetFloat), 8u);
  EXPECT_EQ(Slot(&IGPUProgram::SetVec2), 9u);
  EXPECT_EQ(Slot(&IGPUProgram::SetVec3), 10u);
  EXPECT_EQ(Slot(&IGPUProgram::SetVec4), 11u);
  EXPECT_EQ(Slot(&IGPUProgram::SetTexture), 15u);
  EXPECT_EQ(Slot(&IGPUProgram::GetActiveUniforms), 16u);
  EXPECT_EQ(Slot(&IGPUProgram::GetAttribLocation), 17u);
  EXPECT_EQ(Slot(&IGPUProgram::IsValid), 19u);

  EXPECT_EQ(Slot(&IGPUTexture::SetFilter), 4u);
  EXPECT_EQ(Slot(&IGPUTexture::IsValid), 9u);
  EXPECT_EQ(Slot(&IGPUBuffer::Bind), 3u);
  EXPECT_EQ(Slot(&IGPUBuffer::IsValid), 11u);
}

TEST(Slots, PresetsAndLanguages) {
  EXPECT_EQ(Slot(&IPresetSaver::LoadPreset), 3u);
  EXPECT_EQ(Slot(&IPresetSaver::SavePreset), 4u);
  EXPECT_EQ(Slot(&IPresetSaver::Destroy), 5u);

  EXPECT_EQ(Slot(&IMultiLingual::LanguageQuery), 3u);
  EXPECT_EQ(Slot(&IMultiLingual::GetLanguageText), 4u);
  EXPECT_EQ(Slot(&IMultiLingual::GetCurrentLanguage), 5u);
  EXPECT_EQ(Slot(&IMultiLingual::LanguageCommand), 6u);

  EXPECT_EQ(Slot(&ILangXMLParser::Release), 2u);
  EXPECT_EQ(Slot(&ILangXMLParser::LoadLanguageFile), 4u);
  EXPECT_EQ(Slot(&ILangXMLParser::LanguageQuery), 5u);
  EXPECT_EQ(Slot(&ILangXMLParser::GetLanguageText), 6u);
  EXPECT_EQ(Slot(&ILangXMLParser::GetCurrentLanguage), 7u);
  EXPECT_EQ(Slot(&ILangXMLParser::LanguageCommand), 8u);
}

}  // namespace
}  // namespace vitrella
