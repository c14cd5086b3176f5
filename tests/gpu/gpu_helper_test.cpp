#include "gpu/gpu_helper.h"

#include <gtest/gtest.h>

#include "common/fake_host.h"
#include "core/effect_base.h"
#include "fake_gpu.h"
#include "gpu/gl_names.h"
#include "gpu/gpu_effect_helper.h"
#include "gpu/gpu_frame_objects.h"

namespace vitrella {
namespace {

using testing::FakeContext;
using testing::FakeProgram;
using testing::FakeServices;
using testing::ServingHost;

TEST(GPUHelper, BlendStateIsRestoredWithBlendingOff) {
  FakeContext context;
  context.blendColor[0] = 0.25f;
  context.integers[gl::kBlendEquation] = 0x800B;
  context.integers[gl::kBlendEquationAlpha] = 0x800A;
  context.integers[gl::kBlendSrcRgb] = gl::kSrcAlpha;
  context.integers[gl::kBlendDstRgb] = gl::kOneMinusSrcAlpha;
  context.integers[gl::kBlendSrcAlpha] = gl::kOne;
  context.integers[gl::kBlendDstAlpha] = gl::kZero;
  context.enabled[gl::kBlend] = true;
  const std::map<uint32_t, int32_t> before = context.integers;

  FakeServices services;
  GPUHelper helper;
  helper.EnterGPU(&services, &context);
  ASSERT_TRUE(helper.EnableBlend());
  ASSERT_TRUE(helper.SetBlendFunc(1, 1));
  EXPECT_EQ(context.integers[gl::kBlendSrcRgb], static_cast<int32_t>(gl::kOne));
  EXPECT_EQ(context.integers[gl::kBlendDstRgb], static_cast<int32_t>(gl::kOne));
  EXPECT_EQ(context.integers[gl::kBlendSrcAlpha], static_cast<int32_t>(gl::kOne));
  EXPECT_EQ(context.integers[gl::kBlendDstAlpha], static_cast<int32_t>(gl::kOne));
  context.BlendColor(1, 1, 1, 1);
  helper.LeaveGPU();

  EXPECT_EQ(context.integers, before);
  EXPECT_EQ(context.blendColor[0], 0.25f);
  EXPECT_FALSE(context.enabled[gl::kBlend]);
  EXPECT_EQ(helper.context(), nullptr);
}

TEST(GPUHelper, BlendFactorTable) {
  EXPECT_EQ(GPUHelper::BlendFactor(1), gl::kOne);
  EXPECT_EQ(GPUHelper::BlendFactor(7), gl::kOneMinusSrcAlpha);
  EXPECT_EQ(GPUHelper::BlendFactor(13), gl::kOneMinusConstantAlpha);
  EXPECT_EQ(GPUHelper::BlendFactor(0), gl::kZero);
  EXPECT_EQ(GPUHelper::BlendFactor(14), gl::kZero);
}

TEST(GPUHelper, SeparableBlurSendsHalfSizeAndOddness) {
  FakeContext context;
  FakeServices services;
  FakeProgram horizontalProgram({"blurSize", "isOdd"});
  FakeProgram verticalProgram({"blurSize", "isOdd"});
  ProgramBundle horizontal(true);
  ProgramBundle vertical(true);
  horizontal.AttachProgram(&services, &context, &horizontalProgram);
  vertical.AttachProgram(&services, &context, &verticalProgram);
  GPUTextureRef texture{nullptr, 0, 4, 4, 4, 4, 0, 0, 0};
  GPUHelper helper;
  helper.EnterGPU(&services, &context);
  helper.SeparableBlur(7, 4, &texture, &texture, &texture, horizontal, vertical);
  EXPECT_EQ(verticalProgram.Last("blurSize"), std::vector<float>{2});
  EXPECT_EQ(verticalProgram.Last("isOdd"), std::vector<float>{0});
  EXPECT_EQ(horizontalProgram.Last("blurSize"), std::vector<float>{3});
  EXPECT_EQ(horizontalProgram.Last("isOdd"), std::vector<float>{1});
  helper.SeparableBlur(0, -3, &texture, &texture, &texture, horizontal, vertical);
  EXPECT_EQ(horizontalProgram.Last("blurSize"), std::vector<float>{0});
  EXPECT_EQ(horizontalProgram.Last("isOdd"), std::vector<float>{0});
  EXPECT_EQ(verticalProgram.Last("blurSize"), std::vector<float>{-1});
  EXPECT_EQ(verticalProgram.Last("isOdd"), std::vector<float>{1});
  helper.LeaveGPU();
}

TEST(GPUHelper, TestingProgramsBindsOnlyOnce) {
  int lookups = 0;
  GLDriver driver;
  driver.user = &lookups;
  driver.lookup = [](const char* /*name*/, void* user) -> void* {
    ++*static_cast<int*>(user);
    static int anything;
    return &anything;
  };
  driver.extensions = [](void* /*user*/) -> const char* {
    return "GL_ARB_shader_objects GL_EXT_framebuffer_object GL_ARB_multitexture "
           "GL_EXT_blend_color GL_EXT_blend_minmax GL_EXT_blend_func_separate "
           "GL_EXT_blend_equation_separate";
  };
  FakeServices services;
  const ProgramPair programs[] = {{kProgramPassThroughVertex, kProgramPassThroughFragment},
                                  {kProgramQuadVertex, kProgramBlurVertical}};
  GPUHelper helper;
  EXPECT_TRUE(helper.TestPrograms(&services, programs, driver));
  const int first = lookups;
  EXPECT_GT(first, 0);
  EXPECT_TRUE(helper.TestPrograms(&services, programs, driver));
  EXPECT_EQ(lookups, first);
  EXPECT_EQ(services.creations, 4);
  EXPECT_EQ(helper.livePrograms(), 0);
  EXPECT_TRUE(helper.TestPrograms(&services, {}, driver));  // an empty list only binds
  EXPECT_EQ(services.creations, 4);
  services.failCreate = true;
  EXPECT_FALSE(helper.TestPrograms(&services, programs, driver));
  EXPECT_EQ(services.creations, 5);  // the first failure ends the test
  EXPECT_FALSE(helper.TestPrograms(nullptr, programs, driver));
}

// The smallest GPU effect: it counts its frames.
class CountingEffect final : public EffectBase<CountingEffect, GPUEffectHelper> {
 public:
  CountingEffect() : EffectBase(kTable) {}
  bool VITRELLA_CALL Render(IEffectHost*, const HostFrame*, uintptr_t, HostFrame*,
                            const RenderInfo*) override {
    return false;
  }
  bool VITRELLA_CALL SetupGPUFrame(IEffectHost*, GPUSetupInfo*, uintptr_t) override { return true; }
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost*, const GPUTextureRef*, const GPUTextureRef*,
                                    GPUTextureRef*, const RenderInfo*) override {
    ++frames;
    return true;
  }
  int frames = 0;
  static constexpr EffectTable kTable{"Counting", kTraitsPlain, {}, {}};
};

TEST(GPUEffectHelper, RenderGPURefusesWhatItCannotServe) {
  auto* effect = new CountingEffect();
  ServingHost host;
  testing::FakeHost plainHost;
  FakeContext context;
  const RenderInfo info = testing::WholeFrameInfo();
  GPUTextureRef source{nullptr, PixelFormat8BGRA, 4, 4, 4, 4, 0, 0, 0};
  GPUTextureRef destination = source;
  destination.format = kGPUFormatSwapped;  // a destination of format 9 is served
  EXPECT_TRUE(effect->RenderGPU(0, &host, &context, &source, nullptr, &destination, &info));
  source.format = kGPUFormatSwapped;
  EXPECT_FALSE(effect->RenderGPU(0, &host, &context, &source, nullptr, &destination, &info));
  source.format = PixelFormat8Gray;
  EXPECT_FALSE(effect->RenderGPU(0, &host, &context, &source, nullptr, &destination, &info));
  source.format = PixelFormat32FARGB;
  EXPECT_FALSE(effect->RenderGPU(0, &plainHost, &context, &source, nullptr, &destination, &info));
  EXPECT_FALSE(effect->RenderGPU(0, &host, &context, &source, nullptr, &destination, nullptr));
  EXPECT_FALSE(effect->RenderGPU(0, nullptr, &context, &source, nullptr, &destination, &info));
  EXPECT_EQ(effect->frames, 1);
  EXPECT_EQ(host.services.refs, 1);  // every reference given back
  GPUSetupInfo setup{};
  EXPECT_FALSE(effect->BeginGPUFrameSetup(&plainHost, &context, &setup, 0));
  EXPECT_TRUE(effect->BeginGPUFrameSetup(&host, &context, &setup, 0));
  effect->Release();
}

TEST(GpuFrameObjects, ReleasesWhatItMadeAndStopsAtTheFirstFailure) {
  FakeServices services;
  FakeContext context;
  GPUHelper helper;
  helper.EnterGPU(&services, &context);
  const ProgramPair pair{kProgramQuadVertex, kProgramBlurVertical};
  {
    GpuFrameObjects objects(helper);
    services.texturesLeft = 2;
    EXPECT_NE(objects.Target(8, 6, PixelFormat8BGRA).texture, nullptr);
    EXPECT_EQ(objects.Target(8, 6, PixelFormat32FARGB).format, PixelFormat32FARGB);
    EXPECT_NE(objects.Program(pair).program(), nullptr);
    EXPECT_TRUE(objects.made());
    EXPECT_EQ(helper.liveTextures(), 2);
    EXPECT_EQ(helper.livePrograms(), 1);
  }
  EXPECT_EQ(services.textureReleases, 2);
  EXPECT_EQ(services.releases, 1);
  EXPECT_EQ(helper.liveTextures(), 0);
  EXPECT_EQ(helper.livePrograms(), 0);
  {
    // The second target fails: nothing more is asked of the host, and what was made goes.
    GpuFrameObjects objects(helper);
    services.texturesLeft = 1;
    const int programsBefore = services.creations;
    objects.Target(8, 6, PixelFormat8BGRA);
    EXPECT_EQ(objects.Target(8, 6, PixelFormat8BGRA).texture, nullptr);
    objects.Target(8, 6, PixelFormat8BGRA);
    EXPECT_EQ(objects.Program(pair).program(), nullptr);
    EXPECT_FALSE(objects.made());
    EXPECT_EQ(services.textureCreations, 4);
    EXPECT_EQ(services.creations, programsBefore);
  }
  EXPECT_EQ(services.textureReleases, 3);
  EXPECT_EQ(helper.liveTextures(), 0);
  helper.LeaveGPU();
}

void Anything() {}

// A GPU effect that leaves the capability test to the shared body.
class SetupProbe final : public EffectBase<SetupProbe, GPUEffectHelper> {
 public:
  SetupProbe() : EffectBase(kTable, kPrograms) {}
  bool VITRELLA_CALL Render(IEffectHost*, const HostFrame*, uintptr_t, HostFrame*,
                            const RenderInfo*) override {
    return false;
  }
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost*, const GPUTextureRef*, const GPUTextureRef*,
                                    GPUTextureRef*, const RenderInfo*) override {
    return false;
  }
  static constexpr ProgramPair kPrograms[] = {{kProgramQuadVertex, kProgramBlurVertical},
                                              {kProgramQuadVertex, kProgramBlurHorizontal}};
  static constexpr EffectTable kTable{"Probe", kTraitsPlain, {}, {}};
};

TEST(GPUEffectHelper, SetupTestsTheEffectsProgramsAndFillsTheRecord) {
  auto* effect = new SetupProbe();
  ServingHost host;
  testing::FakeHost plainHost;
  // A context whose table is bound already, so that the test binds nothing itself.
  ARBHelper table{};
  table.glCreateShaderObjectARB = &Anything;
  FakeContext context;
  context.table = &table;
  GPUSetupInfo setup{7, 7, 7};
  EXPECT_TRUE(effect->BeginGPUFrameSetup(&host, &context, &setup, 0));
  EXPECT_EQ(setup.reserved0, 0u);
  EXPECT_EQ(setup.gpuUsable, 1u);
  EXPECT_EQ(setup.reserved2, 0u);
  EXPECT_EQ(host.services.creations, 2);
  EXPECT_EQ(host.services.releases, 2);
  host.services.failCreate = true;
  setup = GPUSetupInfo{7, 7, 7};
  EXPECT_TRUE(effect->BeginGPUFrameSetup(&host, &context, &setup, 0));
  EXPECT_EQ(setup.gpuUsable, 0u);
  EXPECT_EQ(setup.reserved0, 0u);
  EXPECT_EQ(host.services.creations, 3);  // the first failure ends the test
  EXPECT_FALSE(effect->SetupGPUFrame(&plainHost, &setup, 0));
  EXPECT_EQ(host.services.refs, 1);
  effect->Release();
}

}  // namespace
}  // namespace vitrella
