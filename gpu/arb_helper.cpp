#include "gpu/arb_helper.h"

#include <cstring>

#include "platform/gl_lookup.h"
#include "vitrella/gl_extensions.h"

namespace vitrella {
namespace {

static_assert(ARBHelper::kEntryCount == kGLEntryCount);

// The flag of each extension, in the order of their bytes.
constexpr uint8_t ARBHelper::*kFlags[kGLExtensionCount] = {&ARBHelper::hasShaderObjects,
                                                           &ARBHelper::hasFramebufferObject,
                                                           &ARBHelper::hasMultitexture,
                                                           &ARBHelper::hasBlendColor,
                                                           &ARBHelper::hasBlendMinmax,
                                                           &ARBHelper::hasBlendFuncSeparate,
                                                           &ARBHelper::hasBlendEquationSeparate,
                                                           &ARBHelper::hasFramebufferBlit,
                                                           &ARBHelper::hasFramebufferMultisample,
                                                           &ARBHelper::hasOcclusionQuery,
                                                           &ARBHelper::hasTimerQuery,
                                                           &ARBHelper::hasPixelBufferObject,
                                                           &ARBHelper::hasVertexBufferObject,
                                                           &ARBHelper::hasVertexProgram,
                                                           &ARBHelper::hasATIMeminfo,
                                                           &ARBHelper::hasNVXMemoryInfo,
                                                           &ARBHelper::hasDrawInstanced,
                                                           &ARBHelper::hasGeometryShader4};

GLProc* Slots(ARBHelper* table) {
  return reinterpret_cast<GLProc*>(table);
}

// Fetches the entry points that the extension brings, which stand together in block
// order; a null ends the group unfound. An extension without entry points has none to fetch.
bool FetchGroup(ARBHelper* table, const GLDriver& driver, GLExtension extension) {
  for (int i = 0; i < kGLEntryCount; ++i) {
    if (kGLEntryNames[i].extension != extension) continue;
    if (driver.lookup == nullptr) return false;
    void* found = driver.lookup(kGLEntryNames[i].name, driver.user);
    if (found == nullptr) return false;
    GLProc entry = nullptr;
    std::memcpy(&entry, &found, sizeof entry);
    Slots(table)[i] = entry;
  }
  return true;
}

}  // namespace

GLDriver CurrentGLDriver() {
  GLDriver driver;
  driver.lookup = [](const char* name, void* /*user*/) { return platform::GLProcAddress(name); };
  driver.extensions = [](void* /*user*/) { return platform::GLExtensionString(); };
  return driver;
}

bool ExtensionListed(const char* extensions, const char* name) {
  if (extensions == nullptr || name == nullptr || name[0] == '\0') return false;
  const size_t length = std::strlen(name);
  for (const char* at = std::strstr(extensions, name); at != nullptr;
       at = std::strstr(at + 1, name)) {
    const bool startsWord = at == extensions || at[-1] == ' ';
    const bool endsWord = at[length] == '\0' || at[length] == ' ';
    if (startsWord && endsWord) return true;
  }
  return false;
}

bool ARBHelper::HasExtension(const GLDriver& driver, const char* name) const {
  if (driver.extensions == nullptr) return false;
  return ExtensionListed(driver.extensions(driver.user), name);
}

const char* ARBHelper::EntryName(int index) {
  return index >= 0 && index < kEntryCount ? kGLEntryNames[index].name : nullptr;
}

GLProc ARBHelper::Entry(int index) const {
  return index >= 0 && index < kEntryCount ? reinterpret_cast<const GLProc*>(this)[index] : nullptr;
}

bool ARBHelper::BindAll(const GLDriver& driver) {
  // A group counts only when every entry resolved and the string names it.
  auto bind = [&](int extension) {
    const auto e = static_cast<GLExtension>(extension);
    this->*kFlags[e] = FetchGroup(this, driver, e) && HasExtension(driver, kGLExtensionNames[e]);
    return this->*kFlags[e] != 0;
  };
  // The required groups in order; a missing one ends the binding at once, except that all
  // four blend extensions are tested whatever the others gave.
  if (!bind(kGLShaderObjects) || !bind(kGLFramebufferObject) || !bind(kGLMultitexture)) {
    return false;
  }
  bool blending = true;
  for (int e = kGLBlendColor; e < kGLRequiredExtensions; ++e)
    blending = bind(e) && blending;
  if (!blending) return false;
  // Optional groups only record what is there.
  for (int e = kGLRequiredExtensions; e < kGLExtensionCount; ++e)
    bind(e);
  return true;
}

}  // namespace vitrella
