// The OpenGL enumerants that pass through the host's interfaces, so that code speaking
// to IGLContext and IGPUServices needs no OpenGL header.
#pragma once

#include <cstdint>

namespace vitrella::gl {

inline constexpr uint32_t kBlend = 0x0BE2;
inline constexpr uint32_t kDepthTest = 0x0B71;
inline constexpr uint32_t kAlphaTest = 0x0BC0;
inline constexpr uint32_t kLighting = 0x0B50;
inline constexpr uint32_t kTexture2D = 0x0DE1;
inline constexpr uint32_t kBlendColor = 0x8005;
inline constexpr uint32_t kBlendEquation = 0x8009;
inline constexpr uint32_t kBlendEquationAlpha = 0x883D;
inline constexpr uint32_t kBlendDstRgb = 0x80C8;
inline constexpr uint32_t kBlendSrcRgb = 0x80C9;
inline constexpr uint32_t kBlendDstAlpha = 0x80CA;
inline constexpr uint32_t kBlendSrcAlpha = 0x80CB;
inline constexpr uint32_t kFuncAdd = 0x8006;
inline constexpr uint32_t kZero = 0;
inline constexpr uint32_t kOne = 1;
inline constexpr uint32_t kSrcColor = 0x0300;
inline constexpr uint32_t kOneMinusSrcColor = 0x0301;
inline constexpr uint32_t kSrcAlpha = 0x0302;
inline constexpr uint32_t kOneMinusSrcAlpha = 0x0303;
inline constexpr uint32_t kDstAlpha = 0x0304;
inline constexpr uint32_t kOneMinusDstAlpha = 0x0305;
inline constexpr uint32_t kDstColor = 0x0306;
inline constexpr uint32_t kOneMinusDstColor = 0x0307;
inline constexpr uint32_t kConstantColor = 0x8001;
inline constexpr uint32_t kOneMinusConstantColor = 0x8002;
inline constexpr uint32_t kConstantAlpha = 0x8003;
inline constexpr uint32_t kOneMinusConstantAlpha = 0x8004;
inline constexpr uint32_t kTexture0 = 0x84C0;
inline constexpr uint32_t kNearest = 0x2600;
inline constexpr uint32_t kLinear = 0x2601;
inline constexpr uint32_t kArrayBuffer = 0x8892;
inline constexpr uint32_t kPixelPackBuffer = 0x88EB;
inline constexpr uint32_t kDynamicDraw = 0x88E8;
inline constexpr uint32_t kCurrentProgram = 0x8B8D;

}  // namespace vitrella::gl
