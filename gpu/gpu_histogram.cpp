#include "gpu/gpu_histogram.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cstdint>

#include "gpu/gl_names.h"

namespace vitrella {
namespace {

using GenQueries = void (*)(GLsizei, GLuint*);
using DeleteQueries = void (*)(GLsizei, const GLuint*);
using BeginQuery = void (*)(GLenum, GLuint);
using EndQuery = void (*)(GLenum);
using GetQueryObjectiv = void (*)(GLuint, GLenum, GLint*);
using VertexAttribPointer = void (*)(GLuint, GLint, GLenum, GLboolean, GLsizei, const void*);
using VertexAttribArray = void (*)(GLuint);

constexpr ProgramPair kScatterProgram{kProgramHistogramScatterVertex,
                                      kProgramHistogramScatterFragment};
constexpr ProgramPair kQueryProgram{kProgramQuadVertex, kProgramHistogramQuery};
constexpr int kPlanes = 3;

bool Usable(const GPUTextureRef* texture) {
  return texture != nullptr && texture->texture != nullptr && texture->width >= 1 &&
         texture->height >= 1 && texture->texture->IsValid();
}

// Errors left by earlier calls would be taken for ours. A lost context can repeat an
// error for ever, so the drain is bounded.
void DrainErrors() {
  for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) {
  }
}

// A host's target may carry a depth buffer, against which a point or a bucket's quad at
// the same depth would fail the view's greater-than test: counting goes without it.
class DepthTestOff {
 public:
  explicit DepthTestOff(IGLContext& context)
      : context_(context), wasOn_(glIsEnabled(GL_DEPTH_TEST) == GL_TRUE) {
    if (wasOn_) context_.Disable(gl::kDepthTest);
  }
  ~DepthTestOff() {
    if (wasOn_) context_.Enable(gl::kDepthTest);
  }
  DepthTestOff(const DepthTestOff&) = delete;
  DepthTestOff& operator=(const DepthTestOff&) = delete;

 private:
  IGLContext& context_;
  bool wasOn_;
};

}  // namespace

bool GPUHistogramHelper::ScatterEntriesThere() const {
  return helper_.glVertexAttribPointerARB != nullptr &&
         helper_.glEnableVertexAttribArrayARB != nullptr &&
         helper_.glDisableVertexAttribArrayARB != nullptr;
}

bool GPUHistogramHelper::QueryEntriesThere() const {
  return helper_.glGenQueriesARB != nullptr && helper_.glDeleteQueriesARB != nullptr &&
         helper_.glBeginQueryARB != nullptr && helper_.glEndQueryARB != nullptr &&
         helper_.glGetQueryObjectivARB != nullptr;
}

bool GPUHistogramHelper::HasScatterHistogram() {
  if (helper_.hasVertexBufferObject == 0 || helper_.hasPixelBufferObject == 0 ||
      !ScatterEntriesThere()) {
    return false;
  }
  ProgramBundle bundle(false);
  const bool created =
      helper_.CreateProgram(bundle, kScatterProgram.vertex, kScatterProgram.fragment);
  helper_.ReleaseProgram(bundle);
  return created;
}

bool GPUHistogramHelper::HasQueryHistogram() {
  if (helper_.hasOcclusionQuery == 0 || !QueryEntriesThere()) return false;
  ProgramBundle bundle(true);
  const bool created = helper_.CreateProgram(bundle, kQueryProgram.vertex, kQueryProgram.fragment);
  helper_.ReleaseProgram(bundle);
  return created;
}

bool GPUHistogramHelper::ScatterHistogram(const GPUTextureRef* source,
                                          const GPUTextureRef* target) {
  if (!Usable(source) || !Usable(target)) return false;
  if (target->width != kBuckets || target->height != 1) return false;
  if (helper_.hasPixelBufferObject == 0 || helper_.hasVertexBufferObject == 0 ||
      !ScatterEntriesThere()) {
    return false;
  }
  IGLContext* context = helper_.context();
  if (context == nullptr || helper_.services() == nullptr) return false;
  // Three bytes a pixel, red first: a point's value is the byte of its plane.
  const uint64_t pixels =
      static_cast<uint64_t>(source->width) * static_cast<uint64_t>(source->height);
  if (pixels * 3 > UINT32_MAX) return false;
  IGPUBuffer* buffer = helper_.CreateBuffer(static_cast<uint32_t>(pixels * 3), gl::kDynamicDraw);
  if (buffer == nullptr) return false;

  ProgramBundle bundle(false);
  bool counted = helper_.CreateProgram(bundle, kScatterProgram.vertex, kScatterProgram.fragment);
  int32_t color = -1;
  counted = counted && bundle.program()->GetAttribLocation("Color", &color) && color >= 0;
  counted = counted && source->texture->SetFilter(gl::kNearest) && context->Disable(gl::kBlend);

  // The picture's bytes into the buffer, rows packed without padding.
  if (counted) {
    DrainErrors();
    counted = helper_.SetRenderTarget(source, true);
  }
  if (counted) {
    glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);
    buffer->Bind(GL_PIXEL_PACK_BUFFER_ARB);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(source->left, source->top, source->width, source->height, GL_RGB, GL_UNSIGNED_BYTE,
                 nullptr);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    context->BindBuffer(GL_PIXEL_PACK_BUFFER_ARB, 0);
    counted = glGetError() == GL_NO_ERROR;
  }

  // The same buffer as points, each adding 1 where its value says.
  if (counted) {
    const auto attribute = static_cast<GLuint>(color);
    buffer->Bind(GL_ARRAY_BUFFER_ARB);
    GLCall<VertexAttribArray>(helper_.glEnableVertexAttribArrayARB)(attribute);
    counted = helper_.SetRenderTarget(target, false);
    if (counted) {
      helper_.ClearTarget(0.0f, 0.0f, 0.0f, 0.0f);
      counted = helper_.EnableBlend() && helper_.SetBlendFunc(1, 1) && helper_.BeginPass(bundle);
    }
    if (counted) {
      bundle.SetFloat("nBuckets", static_cast<float>(kBuckets));
      const DepthTestOff depth(*context);
      const auto pointer = GLCall<VertexAttribPointer>(helper_.glVertexAttribPointerARB);
      for (int plane = 0; plane < kPlanes; ++plane) {
        bundle.SetInt("nColorPlane", plane);
        for (uint64_t first = 0; first < pixels; first += kScatterBatch) {
          const uint64_t count = std::min<uint64_t>(kScatterBatch, pixels - first);
          const uintptr_t offset = static_cast<uintptr_t>(plane) + first * 3;
          pointer(attribute, 1, GL_UNSIGNED_BYTE, GL_FALSE, 3,
                  reinterpret_cast<const void*>(offset));  // NOLINT(performance-no-int-to-ptr)
          glDrawArrays(GL_POINTS, 0, static_cast<GLsizei>(count));
        }
      }
      counted = glGetError() == GL_NO_ERROR;
    }
    context->Disable(gl::kBlend);
    GLCall<VertexAttribArray>(helper_.glDisableVertexAttribArrayARB)(attribute);
    context->BindBuffer(GL_ARRAY_BUFFER_ARB, 0);
  }

  helper_.EndPass();
  helper_.ReleaseProgram(bundle);
  helper_.ReleaseBuffer(buffer);
  return counted;
}

bool GPUHistogramHelper::QueryHistogram(const GPUTextureRef* source, QueryCounts* counts) {
  if (!Usable(source) || counts == nullptr) return false;
  if (helper_.hasOcclusionQuery == 0 || !QueryEntriesThere()) return false;
  IGLContext* context = helper_.context();
  if (context == nullptr || helper_.services() == nullptr) return false;

  // The bucket draws need somewhere to land; what they leave there is never read.
  GPUTextureRef scratch{};
  ProgramBundle bundle(true);
  bool counted = helper_.CreateTarget(&scratch, source->width, source->height, 0) &&
                 helper_.CreateProgram(bundle, kQueryProgram.vertex, kQueryProgram.fragment) &&
                 source->texture->SetFilter(gl::kNearest) && context->Disable(gl::kBlend);

  // One name per plane and bucket; the fourth plane's row stays 0, which deleting skips.
  GLuint names[4][kBuckets] = {};
  const bool named = counted;
  if (named) {
    DrainErrors();
    GLCall<GenQueries>(helper_.glGenQueriesARB)(kPlanes * kBuckets, &names[0][0]);
    for (int plane = 0; plane < kPlanes && counted; ++plane) {
      for (const GLuint name : names[plane])
        counted = counted && name != 0;
    }
    counted = counted && glGetError() == GL_NO_ERROR && helper_.SetRenderTarget(&scratch, false);
  }
  if (counted) {
    const DepthTestOff depth(*context);
    const auto begin = GLCall<BeginQuery>(helper_.glBeginQueryARB);
    const auto end = GLCall<EndQuery>(helper_.glEndQueryARB);
    for (int plane = 0; plane < kPlanes; ++plane) {
      for (int i = 0; i < kBuckets; ++i) {
        begin(GL_SAMPLES_PASSED_ARB, names[plane][i]);
        helper_.BeginPass(bundle);
        bundle.SetInt("planeId", plane);
        // The bucket's edges lie half a level below and above its value.
        bundle.SetFloat("fLower", static_cast<float>((i * 256 * 0.00390625 - 0.5) / 255.0));
        bundle.SetFloat("fUpper", static_cast<float>(((i + 1) * 256 * 0.00390625 - 0.5) / 255.0));
        helper_.DrawQuad(source, false, nullptr);
        end(GL_SAMPLES_PASSED_ARB);
      }
    }
    const auto result = GLCall<GetQueryObjectiv>(helper_.glGetQueryObjectivARB);
    for (int plane = 0; plane < kPlanes; ++plane) {
      for (int i = 0; i < kBuckets; ++i) {
        GLint samples = 0;
        result(names[plane][i], GL_QUERY_RESULT_ARB, &samples);
        (*counts)[static_cast<size_t>(i)].plane[plane] = samples;
      }
    }
    counted = glGetError() == GL_NO_ERROR;
  }
  if (named) {
    GLCall<DeleteQueries>(helper_.glDeleteQueriesARB)(kPlanes * kBuckets, &names[0][0]);
  }

  helper_.EndPass();
  helper_.ReleaseTarget(&scratch);
  helper_.ReleaseProgram(bundle);
  return counted;
}

}  // namespace vitrella
