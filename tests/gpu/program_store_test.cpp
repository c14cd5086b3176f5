#include "gpu/program_store.h"

#include <gtest/gtest.h>

#include <string>

namespace vitrella {
namespace {

TEST(GpuProgramStore, PassThroughProgramsAreStoredExactly) {
  const StoredProgram& vertex = StoredProgramAt(kProgramPassThroughVertex);
  const StoredProgram& fragment = StoredProgramAt(kProgramPassThroughFragment);
  EXPECT_EQ(vertex.storedSize, 215u);
  EXPECT_EQ(fragment.storedSize, 260u);
  EXPECT_EQ(std::string(vertex.text),
            "varying vec2 texCoord;uniform vec2 texCoordScale0;uniform vec2 texCoordShift0;void "
            "main() {\tgl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;\ttexCoord\t= "
            "texCoordShift0 + gl_MultiTexCoord0.xy * texCoordScale0;}");
  EXPECT_EQ(std::string(fragment.text),
            "#define SWAP_CHANNELS_WTO(swapFlag, src, dst) if (swapFlag==1) dst = src.grab; else "
            "dst = src \nuniform sampler2D Tex;varying vec2 texCoord;uniform int "
            "SwapChannelsDst;void main() {\tSWAP_CHANNELS_WTO(SwapChannelsDst, texture2D(Tex, "
            "texCoord.xy), gl_FragColor);}");
}

TEST(GpuProgramStore, EveryTextIsPlain) {
  ASSERT_EQ(GpuProgramStore().size(), static_cast<size_t>(kStoredProgramCount));
  for (const StoredProgram& program : GpuProgramStore()) {
    EXPECT_EQ(program.length, 0u);
    EXPECT_EQ(program.value, 0u);
    EXPECT_EQ(std::string(program.text).size(), program.storedSize);
  }
}

}  // namespace
}  // namespace vitrella
