// Basic vocabulary of the host contract: identifiers, result codes and IUnknown.
//
// Everything in include/vitrella crosses a binary boundary with a host that is built
// separately. Interfaces are abstract classes whose virtual functions stand in slot
// order; they have no virtual destructors (the Itanium ABI would give them two slots)
// and no overloaded virtual functions (compilers order those differently).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(_WIN32)
#define VITRELLA_CALL __stdcall
#define VITRELLA_EXPORT extern "C" __declspec(dllexport)
#else
#define VITRELLA_CALL
#define VITRELLA_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace vitrella {

// A 128-bit interface identifier in the usual four-field layout.
struct Guid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];

  friend bool operator==(const Guid& a, const Guid& b) { return std::memcmp(&a, &b, 16) == 0; }
};
static_assert(sizeof(Guid) == 16);

using Result = int32_t;
inline constexpr Result kOk = 0;
inline constexpr Result kNoInterface = static_cast<Result>(0x80004002u);
inline constexpr Result kPointerError = static_cast<Result>(0x80004005u);

// Wide text is UTF-16 on every platform, so buffers keep their sizes.
using WideChar = char16_t;

// Window handle of the host's user interface; opaque to the library.
using WindowHandle = void*;

inline constexpr Guid kIID_IUnknown{
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

class IUnknown {
 public:
  virtual Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) = 0;  // slot 0
  virtual uint32_t VITRELLA_CALL AddRef() = 0;                                   // slot 1
  virtual uint32_t VITRELLA_CALL Release() = 0;                                  // slot 2

 protected:
  // Objects are destroyed through Release, never through an interface pointer.
  ~IUnknown() = default;
};

}  // namespace vitrella
