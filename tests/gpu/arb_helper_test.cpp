#include "gpu/arb_helper.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "vitrella/gl_extensions.h"

namespace vitrella {
namespace {

TEST(ExtensionListed, MatchesWholeWordsOnly) {
  EXPECT_TRUE(ExtensionListed("GL_A GL_B GL_C", "GL_A"));
  EXPECT_TRUE(ExtensionListed("GL_A GL_B GL_C", "GL_B"));
  EXPECT_TRUE(ExtensionListed("GL_A GL_B GL_C", "GL_C"));
  EXPECT_TRUE(ExtensionListed("GL_A", "GL_A"));
  // Only as the head or the tail of a longer name.
  EXPECT_FALSE(ExtensionListed("GL_ARB_shader_objects_x GL_B", "GL_ARB_shader_objects"));
  EXPECT_FALSE(ExtensionListed("GL_B xGL_A", "GL_A"));
  // A false match first, the true one later.
  EXPECT_TRUE(ExtensionListed("GL_AB GL_A", "GL_A"));
  EXPECT_FALSE(ExtensionListed(nullptr, "GL_A"));
  EXPECT_FALSE(ExtensionListed("GL_A", ""));
}

// Every entry point there unless named in `missing`; the string lists every extension
// unless named in `unlisted`.
struct FakeDriver {
  std::set<std::string> missing;
  std::set<std::string> unlisted;
  bool noString = false;
  std::string extensions;
  int lookups = 0;

  GLDriver Get() {
    extensions.clear();
    for (const char* name : kGLExtensionNames) {
      if (unlisted.count(name) == 0) extensions += std::string(name) + " ";
    }
    GLDriver driver;
    driver.user = this;
    driver.lookup = [](const char* name, void* user) -> void* {
      auto* self = static_cast<FakeDriver*>(user);
      ++self->lookups;
      static int anything;
      return self->missing.count(name) != 0 ? nullptr : &anything;
    };
    driver.extensions = [](void* user) -> const char* {
      auto* self = static_cast<FakeDriver*>(user);
      return self->noString ? nullptr : self->extensions.c_str();
    };
    return driver;
  }
};

TEST(BindAll, FullDriverBindsEverything) {
  FakeDriver fake;
  ARBHelper table{};
  EXPECT_TRUE(table.BindAll(fake.Get()));
  for (int i = 0; i < ARBHelper::kEntryCount; ++i)
    EXPECT_NE(table.Entry(i), nullptr) << ARBHelper::EntryName(i);
  const uint8_t* flags = &table.hasShaderObjects;
  for (int i = 0; i < 18; ++i)
    EXPECT_EQ(flags[i], 1) << i;
  EXPECT_STREQ(ARBHelper::EntryName(64), "glProgramParameteriEXT");
}

TEST(BindAll, RequiredGroupsFailTheBinding) {
  {
    FakeDriver fake;  // no extension string at all
    fake.noString = true;
    ARBHelper table{};
    EXPECT_FALSE(table.BindAll(fake.Get()));
    EXPECT_EQ(table.hasShaderObjects, 0);
  }
  {
    FakeDriver fake;  // names the extension but lacks one entry point
    fake.missing = {"glGetInfoLogARB"};
    ARBHelper table{};
    EXPECT_FALSE(table.BindAll(fake.Get()));
    EXPECT_EQ(table.hasShaderObjects, 0);
    EXPECT_EQ(table.glUseProgramObjectARB, nullptr);  // the group stopped at the null
    EXPECT_EQ(fake.lookups, 11);
  }
  {
    FakeDriver fake;  // resolves the names but does not list the extension
    fake.unlisted = {"GL_EXT_framebuffer_object"};
    ARBHelper table{};
    EXPECT_FALSE(table.BindAll(fake.Get()));
    EXPECT_EQ(table.hasShaderObjects, 1);
    EXPECT_EQ(table.hasFramebufferObject, 0);
    EXPECT_EQ(table.hasMultitexture, 0);  // never reached
  }
  {
    FakeDriver fake;  // the other three blend booleans are still set
    fake.unlisted = {"GL_EXT_blend_minmax"};
    ARBHelper table{};
    EXPECT_FALSE(table.BindAll(fake.Get()));
    EXPECT_EQ(table.hasBlendColor, 1);
    EXPECT_EQ(table.hasBlendMinmax, 0);
    EXPECT_EQ(table.hasBlendFuncSeparate, 1);
    EXPECT_EQ(table.hasBlendEquationSeparate, 1);
    EXPECT_EQ(table.hasFramebufferBlit, 0);
  }
}

TEST(BindAll, MissingOptionalGroupsStillBind) {
  FakeDriver fake;
  fake.unlisted = {"GL_EXT_framebuffer_blit",    "GL_EXT_framebuffer_multisample",
                   "GL_ARB_occlusion_query",     "GL_EXT_timer_query",
                   "GL_ARB_pixel_buffer_object", "GL_ARB_vertex_buffer_object",
                   "GL_ARB_vertex_program",      "GL_ATI_meminfo",
                   "GL_NVX_gpu_memory_info",     "GL_EXT_draw_instanced",
                   "GL_EXT_geometry_shader4"};
  fake.missing = {"glGenQueriesARB"};
  ARBHelper table{};
  EXPECT_TRUE(table.BindAll(fake.Get()));
  const uint8_t* flags = &table.hasFramebufferBlit;
  for (int i = 0; i < 11; ++i)
    EXPECT_EQ(flags[i], 0) << i;
  EXPECT_EQ(table.glDeleteQueriesARB, nullptr);
}

}  // namespace
}  // namespace vitrella
