// FrameBuffer views and allocations, and MemoryAllocator's choice between the host's
// memory and the kernels' own.
#include "core/frame_buffer.h"

#include <gtest/gtest.h>

#include <limits>

#include "common/fake_host.h"
#include "kernels/memory.h"

namespace vitrella {
namespace {

using testing::FakeHost;

TEST(FrameBufferAttach, NegativePitchPointsAtTheLowestRowAndInvertsFlipped) {
  uint8_t memory[4 * 3 * 5] = {};
  HostFrame host{};
  host.width = 3;
  host.height = 5;
  host.pixelBytes = 4;
  host.format = PixelFormat8BGRA;
  host.pitch = -12;
  host.data = memory + 4 * 12;  // the last row in memory comes first
  host.flipped = 0;

  FrameBuffer frame;
  ASSERT_TRUE(frame.AttachHost(&host));
  EXPECT_EQ(frame.data, memory);
  EXPECT_EQ(frame.pitch, 12);
  EXPECT_EQ(frame.pitchPixels, 3);
  EXPECT_EQ(frame.flipped, 1);
  EXPECT_EQ(frame.owned, 0);

  host.flipped = 1;
  ASSERT_TRUE(frame.AttachHost(&host));
  EXPECT_EQ(frame.flipped, 0);

  host.pitch = 12;
  host.data = memory;
  ASSERT_TRUE(frame.AttachHost(&host));
  EXPECT_EQ(frame.data, memory);
  EXPECT_EQ(frame.flipped, 1);
}

TEST(FrameBufferAttach, OddRecordsGiveHarmlessViews) {
  FrameBuffer frame;
  EXPECT_FALSE(frame.AttachHost(nullptr));
  EXPECT_EQ(frame.data, nullptr);

  uint8_t byte = 0;
  frame.Attach(&byte, 1, 1, 4, 0, PixelFormat8BGRA, false);
  EXPECT_EQ(frame.pitchPixels, 0) << "no division by a pixel size of 0";

  frame.Attach(&byte, 1, 1, std::numeric_limits<int32_t>::min(), 4, PixelFormat8BGRA, false);
  EXPECT_EQ(frame.data, nullptr) << "a pitch without a positive counterpart stays empty";
}

TEST(FrameBufferAttach, AnotherFrameIsSharedNotOwned) {
  FrameBuffer owner;
  ASSERT_TRUE(owner.Allocate(8, 4, 16, nullptr, PixelFormat32FARGB, true));
  FrameBuffer view;
  view.AttachFrame(owner);
  EXPECT_EQ(view.data, owner.data);
  EXPECT_EQ(view.pitch, owner.pitch);
  EXPECT_EQ(view.format, PixelFormat32FARGB);
  EXPECT_EQ(view.flipped, 1);
  EXPECT_EQ(view.owned, 0);
  view.Clear();  // must not free the owner's memory
  EXPECT_NE(owner.data, nullptr);
}

TEST(FrameBufferAllocate, KernelMemoryHasAlignedRoundedRows) {
  for (int32_t bytes : {1, 2, 3, 4, 16}) {
    FrameBuffer frame;
    ASSERT_TRUE(frame.Allocate(33, 7, bytes, nullptr, PixelFormat8BGRA, false)) << bytes;
    EXPECT_EQ(frame.owned, 1);
    EXPECT_EQ(frame.pitch % kernels::kRowAlignment, 0);
    EXPECT_GE(frame.pitch, 33 * bytes);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(frame.data) % kernels::kRowAlignment, 0u);
    EXPECT_EQ(frame.pitchPixels, frame.pitch / bytes);
  }
}

TEST(FrameBufferAllocate, OneBytePicturesAreAlwaysGray) {
  FrameBuffer frame;
  ASSERT_TRUE(frame.Allocate(5, 5, 1, nullptr, PixelFormat8BGRA, false));
  EXPECT_EQ(frame.format, PixelFormat8Gray);
}

TEST(FrameBufferAllocate, RefusesSizesThatCannotBe) {
  FrameBuffer frame;
  EXPECT_FALSE(frame.Allocate(0, 5, 4, nullptr, PixelFormat8BGRA, false));
  EXPECT_FALSE(frame.Allocate(5, -1, 4, nullptr, PixelFormat8BGRA, false));
  EXPECT_FALSE(frame.Allocate(5, 5, 5, nullptr, PixelFormat8BGRA, false));
  EXPECT_FALSE(frame.Allocate(1 << 30, 4, 16, nullptr, PixelFormat32FBGRA, false))
      << "a row that overflows the pitch";
  EXPECT_EQ(frame.data, nullptr);
}

TEST(MemoryAllocator, UsesTheHostAllocatorFirstAndGivesItBack) {
  FakeHost host;
  host.lendAllocator = true;
  {
    MemoryAllocator memory(&host);
    EXPECT_TRUE(memory.UsesHost());
    FrameBuffer frame;
    ASSERT_TRUE(frame.Allocate(10, 3, 4, &memory, PixelFormat8ARGB, false));
    EXPECT_EQ(frame.pitch, 10 * 4 + host.allocator.pitchPadding);
    EXPECT_EQ(host.allocator.allocations, 1);
    frame.Clear();
    EXPECT_EQ(host.allocator.frees, 1);
    EXPECT_EQ(frame.data, nullptr);
    EXPECT_EQ(frame.width, 0);
  }
  EXPECT_EQ(host.allocator.refs.load(), 0) << "the allocator reference is released";
}

TEST(MemoryAllocator, FallsBackToKernelMemoryWithoutHostAllocator) {
  FakeHost host;
  MemoryAllocator memory(&host);
  EXPECT_FALSE(memory.UsesHost());
  FrameBuffer frame;
  EXPECT_TRUE(frame.Allocate(4, 4, 16, &memory, PixelFormat32FBGRA, false));
  EXPECT_FALSE(MemoryAllocator(nullptr).UsesHost());
}

TEST(MemoryAllocator, HostFailuresAndShortPitchesAreRefused) {
  FakeHost host;
  host.lendAllocator = true;
  MemoryAllocator memory(&host);
  uint8_t* data = nullptr;
  int32_t pitch = 0;
  host.allocator.failAll = true;
  EXPECT_FALSE(memory.Allocate(&data, 4, 4, 4, &pitch));
  host.allocator.failAll = false;
  host.allocator.pitchPadding = -4;  // rows would overlap
  EXPECT_FALSE(memory.Allocate(&data, 4, 4, 4, &pitch));
  EXPECT_EQ(host.allocator.allocations, host.allocator.frees);
  EXPECT_FALSE(memory.Allocate(nullptr, 4, 4, 4, &pitch));
  EXPECT_FALSE(memory.Allocate(&data, 4, 4, 4, nullptr));
}

TEST(FrameBufferExport, CopiesTheViewAndZeroesTheReservedWords) {
  FrameBuffer frame;
  ASSERT_TRUE(frame.Allocate(6, 2, 16, nullptr, PixelFormat32FARGB, true));
  HostFrame host;
  std::memset(&host, 0xCD, sizeof(host));
  frame.ExportTo(&host);
  EXPECT_EQ(host.data, frame.data);
  EXPECT_EQ(host.width, 6);
  EXPECT_EQ(host.height, 2);
  EXPECT_EQ(host.pitch, frame.pitch);
  EXPECT_EQ(host.pixelBytes, 16);
  EXPECT_EQ(host.format, PixelFormat32FARGB);
  EXPECT_EQ(host.flipped, 1);
  EXPECT_EQ(host.reserved[0], 0);
  EXPECT_EQ(host.reserved[1], 0);
}

}  // namespace
}  // namespace vitrella
