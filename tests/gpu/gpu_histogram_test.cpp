// The GPU histogram's refusals and early stops, on fake host objects and a fake table:
// what a context lacks is never asked for, and whatever was made before a failure is
// released again. Counting itself is tested on a real context (histogram_count_test).
#include "gpu/gpu_histogram.h"

#include <gtest/gtest.h>

#include "fake_gpu.h"

namespace vitrella {
namespace {

using testing::FakeContext;
using testing::FakeServices;

// A driver whose query names all come back 0, as from a context that has run out.
struct QueryCalls {
  int generated = 0;
  int deleted = 0;
  int begun = 0;
};
QueryCalls queryCalls;

void GenNoQueries(int count, unsigned* names) {
  ++queryCalls.generated;
  for (int i = 0; i < count; ++i)
    names[i] = 0;
}
void DeleteQueries(int /*count*/, const unsigned* /*names*/) {
  ++queryCalls.deleted;
}
void BeginQuery(unsigned /*target*/, unsigned /*name*/) {
  ++queryCalls.begun;
}
void EndQuery(unsigned /*target*/) {}
void GetQuery(unsigned /*name*/, unsigned /*what*/, int* out) {
  *out = 0;
}
void AttribPointer(unsigned, int, unsigned, unsigned char, int, const void*) {}
void AttribArray(unsigned) {}

template <typename F>
GLProc Entry(F* f) {
  return reinterpret_cast<GLProc>(f);
}

// A table with every entry the histogram calls, and both ways' booleans as given.
ARBHelper Table(bool scatter, bool query) {
  ARBHelper table{};
  table.glGenQueriesARB = Entry(GenNoQueries);
  table.glDeleteQueriesARB = Entry(DeleteQueries);
  table.glBeginQueryARB = Entry(BeginQuery);
  table.glEndQueryARB = Entry(EndQuery);
  table.glGetQueryObjectivARB = Entry(GetQuery);
  table.glVertexAttribPointerARB = Entry(AttribPointer);
  table.glEnableVertexAttribArrayARB = Entry(AttribArray);
  table.glDisableVertexAttribArrayARB = Entry(AttribArray);
  table.hasVertexBufferObject = scatter ? 1 : 0;
  table.hasPixelBufferObject = scatter ? 1 : 0;
  table.hasOcclusionQuery = query ? 1 : 0;
  return table;
}

class GPUHistogramStops : public ::testing::Test {
 protected:
  void Enter(const ARBHelper& table) {
    table_ = table;
    context_.table = &table_;
    helper_.EnterGPU(&services_, &context_);
    queryCalls = {};
  }
  void TearDown() override {
    // Everything counted live was released again.
    EXPECT_EQ(helper_.liveTextures(), 0);
    EXPECT_EQ(helper_.livePrograms(), 0);
    EXPECT_EQ(helper_.liveBuffers(), 0);
    helper_.LeaveGPU();
  }

  ARBHelper table_{};
  FakeContext context_;
  FakeServices services_;
  GPUHelper helper_;
  GPUHistogramHelper histogram_{helper_};
  testing::FakeTexture texture_;
  GPUTextureRef source_{&texture_, 0, 40, 30, 40, 30, 0, 0, 0};
  GPUTextureRef counts_{&texture_, 3, 256, 1, 256, 1, 0, 0, 0};
};

TEST_F(GPUHistogramStops, EachWayNeedsItsOwnExtensionsBeforeAProgramIsMade) {
  Enter(Table(false, false));
  EXPECT_FALSE(histogram_.HasScatterHistogram());
  EXPECT_FALSE(histogram_.HasQueryHistogram());
  ARBHelper half = Table(true, true);
  half.hasPixelBufferObject = 0;  // vertex buffers alone are not enough
  Enter(half);
  EXPECT_FALSE(histogram_.HasScatterHistogram());
  ARBHelper noEntry = Table(true, true);
  noEntry.glEnableVertexAttribArrayARB = nullptr;
  noEntry.glGetQueryObjectivARB = nullptr;
  Enter(noEntry);
  EXPECT_FALSE(histogram_.HasScatterHistogram());
  EXPECT_FALSE(histogram_.HasQueryHistogram());
  EXPECT_EQ(services_.creations, 0);

  // Counting is refused the same way, before anything is made.
  QueryCounts counts{};
  Enter(Table(false, false));
  EXPECT_FALSE(histogram_.ScatterHistogram(&source_, &counts_));
  EXPECT_FALSE(histogram_.QueryHistogram(&source_, &counts));
  EXPECT_EQ(services_.bufferCreations + services_.textureCreations + services_.creations, 0);
}

TEST_F(GPUHistogramStops, EachWayAnswersWhetherItsProgramsCanBeMade) {
  Enter(Table(true, true));
  EXPECT_TRUE(histogram_.HasScatterHistogram());
  EXPECT_TRUE(histogram_.HasQueryHistogram());
  EXPECT_EQ(services_.creations, 2);
  services_.failCreate = true;
  EXPECT_FALSE(histogram_.HasScatterHistogram());
  EXPECT_FALSE(histogram_.HasQueryHistogram());
}

TEST_F(GPUHistogramStops, BadTexturesAreRefusedBeforeAnythingIsMade) {
  Enter(Table(true, true));
  services_.buffersLeft = 1;
  services_.texturesLeft = 1;
  QueryCounts counts{};
  GPUTextureRef empty{};
  GPUTextureRef flat = source_;
  flat.height = 0;
  GPUTextureRef wide = counts_;
  wide.width = 257;
  const GPUTextureRef* bads[] = {nullptr, &empty, &flat};
  for (const GPUTextureRef* bad : bads) {
    EXPECT_FALSE(histogram_.ScatterHistogram(bad, &counts_));
    EXPECT_FALSE(histogram_.ScatterHistogram(&source_, bad));
    EXPECT_FALSE(histogram_.QueryHistogram(bad, &counts));
  }
  EXPECT_FALSE(histogram_.ScatterHistogram(&source_, &wide));
  EXPECT_FALSE(histogram_.QueryHistogram(&source_, nullptr));
  EXPECT_EQ(services_.bufferCreations + services_.textureCreations + services_.creations, 0);
}

TEST_F(GPUHistogramStops, ScatterWithoutBufferOrAttributeStopsAndReleases) {
  Enter(Table(true, true));
  // No buffer: the program is not even made.
  EXPECT_FALSE(histogram_.ScatterHistogram(&source_, &counts_));
  EXPECT_EQ(services_.bufferCreations, 1);
  EXPECT_EQ(services_.creations, 0);

  // A buffer, but the program fails: the buffer goes back.
  services_.buffersLeft = 1;
  services_.failCreate = true;
  EXPECT_FALSE(histogram_.ScatterHistogram(&source_, &counts_));
  EXPECT_EQ(services_.bufferReleases, 1);

  // A program without the "Color" attribute: nothing is read or drawn.
  services_.buffersLeft = 1;
  services_.failCreate = false;
  EXPECT_FALSE(histogram_.ScatterHistogram(&source_, &counts_));
  EXPECT_EQ(services_.bufferReleases, 2);
  EXPECT_EQ(services_.buffer.binds, 0);
  EXPECT_EQ(services_.releases, 1);
}

TEST_F(GPUHistogramStops, QueryWithoutNamesDrawsNothingAndReleases) {
  Enter(Table(true, true));
  QueryCounts counts{};
  // No scratch target: no program, no names.
  EXPECT_FALSE(histogram_.QueryHistogram(&source_, &counts));
  EXPECT_EQ(services_.creations, 0);
  EXPECT_EQ(queryCalls.generated, 0);

  services_.texturesLeft = 1;
  EXPECT_FALSE(histogram_.QueryHistogram(&source_, &counts));
  EXPECT_EQ(queryCalls.generated, 1);
  EXPECT_EQ(queryCalls.begun, 0);
  EXPECT_EQ(queryCalls.deleted, 1);
  EXPECT_EQ(services_.textureReleases, 1);
  EXPECT_EQ(services_.releases, 1);
}

}  // namespace
}  // namespace vitrella
