#include "gpu/program_bundle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "fake_gpu.h"

namespace vitrella {
namespace {

using testing::FakeProgram;
using testing::FakeServices;

std::vector<std::string> StandardNames() {
  std::vector<std::string> names = {"vRTSize", "vRT2NORM_Scale", "vRT2NORM_Shift", "own"};
  for (const char* field :
       {"_texture", ".vScale", ".vShift", ".vScaleTEXi", ".vShiftTEXi", ".vRT2TEX_Scale",
        ".vRT2TEX_Shift", ".vRT2TEXi_Scale", ".vRT2TEXi_Shift", ".vTEX2NORM_Scale",
        ".vTEX2NORM_Shift", ".vTEX2TEXi_Scale", ".vTEX2TEXi_Shift", ".vTEXi2NORM_Scale",
        ".vTEXi2NORM_Shift", ".vNORM2TEXi_Scale", ".texelSize", ".roiLeftTop", ".roiWH"}) {
    names.push_back(std::string("Texture0") + field);
  }
  return names;
}

GPUTextureRef Texture(int32_t allocatedWidth, int32_t allocatedHeight, int32_t width,
                      int32_t height, int32_t left = 0, int32_t top = 0) {
  return {nullptr, 0, allocatedWidth, allocatedHeight, width, height, left, top, 0};
}

class ProgramBundleTest : public ::testing::Test {
 protected:
  FakeProgram program{StandardNames()};
  FakeServices services;
  ProgramBundle bundle{true};

  void SetUp() override { bundle.AttachProgram(&services, nullptr, &program); }
  std::vector<float> Sent(const std::string& name) const { return program.Last(name); }
};

TEST_F(ProgramBundleTest, TargetUniformsAndTheirGuards) {
  ASSERT_TRUE(bundle.BeginPass(0, 1));  // width 0 counts as 1
  EXPECT_EQ(bundle.targetWidth(), 1);
  EXPECT_EQ(Sent("vRTSize"), (std::vector<float>{1, 1}));
  EXPECT_EQ(Sent("vRT2NORM_Scale"), (std::vector<float>{0, 0}));
  EXPECT_EQ(Sent("vRT2NORM_Shift"), (std::vector<float>{0.5f, 0.5f}));
  ASSERT_TRUE(bundle.BeginPass(5, 3));
  EXPECT_EQ(Sent("vRT2NORM_Scale"), (std::vector<float>{1.25f, 1.5f}));
  EXPECT_EQ(Sent("vRT2NORM_Shift"), (std::vector<float>{-0.125f, -0.25f}));
  EXPECT_EQ(program.uses, 2);
}

TEST_F(ProgramBundleTest, WholeRegionOnAMatchingTarget) {
  bundle.BeginPass(8, 4);
  bundle.SetTextureStage(0, Texture(8, 4, 8, 4), nullptr);
  EXPECT_EQ(Sent("Texture0.vRT2TEX_Scale"), (std::vector<float>{1, 1}));
  EXPECT_EQ(Sent("Texture0.vRT2TEX_Shift"), (std::vector<float>{0, 0}));
  EXPECT_EQ(Sent("Texture0.vRT2TEXi_Scale"), (std::vector<float>{8, 4}));
  EXPECT_EQ(Sent("Texture0.vRT2TEXi_Shift"), (std::vector<float>{-0.5f, -0.5f}));
  EXPECT_EQ(Sent("Texture0.vScale"), (std::vector<float>{7.0f / 8, 3.0f / 4}));
  EXPECT_EQ(Sent("Texture0.vShift"), (std::vector<float>{0.5f / 8, 0.5f / 4}));
  EXPECT_EQ(Sent("Texture0.vTEX2TEXi_Scale"), (std::vector<float>{8, 4}));
  EXPECT_EQ(Sent("Texture0.vTEX2TEXi_Shift"), (std::vector<float>{-0.5f, -0.5f}));
  EXPECT_EQ(Sent("Texture0.vNORM2TEXi_Scale"), (std::vector<float>{7, 3}));
  EXPECT_EQ(Sent("Texture0.texelSize"), (std::vector<float>{1.0f / 7, 1.0f / 3}));
  // TEXi to the texture's own address lands on texel centres.
  const float scale = Sent("Texture0.vScaleTEXi")[0];
  const float shift = Sent("Texture0.vShiftTEXi")[0];
  EXPECT_FLOAT_EQ(3 * scale + shift, 3.5f / 8);
}

TEST_F(ProgramBundleTest, GuardsOnOnePixelTargetsAndTextures) {
  bundle.BeginPass(6, 1);                                   // a 1-pixel-high target
  bundle.SetTextureStage(0, Texture(1, 4, 1, 4), nullptr);  // allocated width 1
  EXPECT_EQ(Sent("Texture0.vRT2TEX_Scale")[1], 0.0f);
  EXPECT_EQ(Sent("Texture0.vRT2TEX_Shift")[1], 0.5f);
  EXPECT_EQ(Sent("Texture0.vRT2TEXi_Scale")[1], 0.0f);
  EXPECT_EQ(Sent("Texture0.vRT2TEXi_Shift")[1], 0.0f);
  EXPECT_EQ(Sent("Texture0.vRT2TEX_Shift")[0], 0.5f * (1.0f - 0.0f / 5.0f));
  EXPECT_EQ(Sent("Texture0.vTEX2NORM_Scale")[0], 0.0f);
  EXPECT_EQ(Sent("Texture0.vTEX2NORM_Shift")[0], 0.5f);
  EXPECT_EQ(Sent("Texture0.vTEXi2NORM_Scale")[0], 0.0f);
  EXPECT_EQ(Sent("Texture0.vTEXi2NORM_Shift")[0], 0.5f);
  EXPECT_EQ(Sent("Texture0.vTEX2NORM_Shift")[1], -0.5f / 3);
}

TEST_F(ProgramBundleTest, OneTexelRegionGoesOutInfinite) {
  bundle.BeginPass(4, 4);
  bundle.SetTextureStage(0, Texture(8, 8, 1, 1, 2, 3), nullptr);
  const float inf = std::numeric_limits<float>::infinity();
  EXPECT_EQ(Sent("Texture0.vTEX2NORM_Scale")[0], inf);
  EXPECT_EQ(Sent("Texture0.vTEXi2NORM_Scale")[0], inf);
  EXPECT_EQ(Sent("Texture0.texelSize")[0], inf);
  EXPECT_TRUE(std::isinf(Sent("Texture0.vTEX2NORM_Shift")[0]));
  EXPECT_EQ(Sent("Texture0.roiLeftTop"), (std::vector<float>{2.5f / 8, 3.5f / 8}));
}

TEST_F(ProgramBundleTest, FirstStageWriteOfAPassWins) {
  bundle.BeginPass(8, 8);
  bundle.SetTextureStage(0, Texture(8, 8, 8, 8), nullptr);
  const size_t calls = program.calls.size();
  const float half[4] = {0, 0, 0.5f, 0.5f};
  bundle.SetTextureStage(0, Texture(8, 8, 8, 8), half);
  EXPECT_EQ(program.calls.size(), calls);
  bundle.BeginPass(8, 8);  // a new pass takes the stage again
  bundle.SetTextureStage(0, Texture(8, 8, 8, 8), half);
  EXPECT_EQ(Sent("Texture0.vNORM2TEXi_Scale"), (std::vector<float>{3, 3}));
}

TEST_F(ProgramBundleTest, UnknownNamesAreSkippedAndKnownOnesTouched) {
  bundle.BeginPass(2, 2);
  EXPECT_FALSE(bundle.SetFloat("undeclared", 1.0f));
  EXPECT_FALSE(bundle.SetInt(nullptr, 1));
  EXPECT_EQ(program.Last("undeclared").size(), 0u);
  EXPECT_TRUE(bundle.SetFloat("own", 2.0f));
  EXPECT_TRUE(bundle.touched(bundle.FindUniform("own")));
  bundle.BeginPass(2, 2);
  EXPECT_FALSE(bundle.touched(bundle.FindUniform("own")));
  EXPECT_EQ(bundle.FindUniform("Texture1.vScale"), -1);
}

// A driver lists an array once, by its first element; the others are still its uniforms.
TEST(ProgramBundle, ElementsOfAnArrayAreKnownByItsFirst) {
  FakeProgram program({"dstQuad[0]", "Color"});
  FakeServices services;
  ProgramBundle bundle(true);
  bundle.AttachProgram(&services, nullptr, &program);
  bundle.BeginPass(4, 4);
  EXPECT_EQ(bundle.FindUniform("dstQuad[3]"), bundle.FindUniform("dstQuad[0]"));
  EXPECT_TRUE(bundle.SetVec2("dstQuad[2]", 1.0f, 2.0f));
  EXPECT_EQ(program.Last("dstQuad[2]"), (std::vector<float>{1, 2}));
  EXPECT_TRUE(bundle.SetVec4("Color", 1.0f, 2.0f, 3.0f, 4.0f));
  EXPECT_EQ(program.Last("Color"), (std::vector<float>{1, 2, 3, 4}));
  EXPECT_EQ(bundle.FindUniform("Color[1]"), -1);
  EXPECT_EQ(bundle.FindUniform("other[1]"), -1);
  EXPECT_FALSE(bundle.SetVec4("undeclared", 0.0f, 0.0f, 0.0f, 0.0f));
}

TEST(ProgramBundle, ProgramWithoutStandardUniformsGetsOnlyUse) {
  FakeProgram program({"own"});
  FakeServices services;
  ProgramBundle bundle(true);
  bundle.AttachProgram(&services, nullptr, &program);
  bundle.BeginPass(4, 4);
  const GPUTextureRef* textures[1] = {nullptr};
  GPUTextureRef texture = Texture(4, 4, 4, 4);
  textures[0] = &texture;
  bundle.SetAutomaticStages(textures, 1);
  EXPECT_TRUE(program.calls.empty());
  EXPECT_EQ(program.uses, 1);
}

TEST(ProgramBundle, AttachAndDetachBalanceTheServices) {
  FakeProgram program({"own"});
  FakeProgram invalid({"own"});
  invalid.valid = false;
  FakeServices services;
  {
    ProgramBundle bundle(true);
    bundle.AttachProgram(&services, nullptr, &program);
    EXPECT_EQ(services.refs, 2);
    EXPECT_EQ(bundle.uniformCount(), 1u);
    bundle.AttachProgram(&services, nullptr, &invalid);  // releases the first, stays empty
    EXPECT_EQ(services.releases, 1);
    EXPECT_EQ(services.refs, 1);
    EXPECT_EQ(bundle.program(), nullptr);
    EXPECT_FALSE(bundle.BeginPass(1, 1));
    EXPECT_FALSE(bundle.SetFloat("own", 1.0f));
    bundle.AttachProgram(&services, nullptr, &program);
  }
  EXPECT_EQ(services.releases, 2);
  EXPECT_EQ(services.refs, 1);
}

TEST(ProgramBundle, NonRegularBundleSendsEverythingOn) {
  FakeProgram program({});
  FakeServices services;
  ProgramBundle bundle(false);
  bundle.AttachProgram(&services, nullptr, &program);
  bundle.BeginPass(4, 4);
  EXPECT_TRUE(bundle.SetInt("SwapChannelsDst", 1));
  ASSERT_EQ(program.calls.size(), 1u);  // no standard uniforms
}

}  // namespace
}  // namespace vitrella
