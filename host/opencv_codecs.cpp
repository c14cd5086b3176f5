#include "opencv_codecs.h"

#include <dlfcn.h>

#include <opencv2/imgcodecs.hpp>

#include "quiet_stderr.h"

namespace vitrella::host {
namespace {

using EncodeFn = bool (*)(const cv::String&, cv::InputArray, std::vector<uchar>&,
                          const std::vector<int>&);
using DecodeFn = cv::Mat (*)(cv::InputArray, int);
using HaveWriterFn = bool (*)(const cv::String&);

// The functions by their C++ names as this compiler writes them: cv::imencode and
// cv::imdecode(InputArray, int) and cv::haveImageWriter.
constexpr const char* kEncodeSymbol =
    "_ZN2cv8imencodeERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERKNS_11_"
    "InputArrayERSt6vectorIhSaIhEERKSB_IiSaIiEE";
constexpr const char* kDecodeSymbol = "_ZN2cv8imdecodeERKNS_11_InputArrayEi";
constexpr const char* kHaveWriterSymbol =
    "_ZN2cv15haveImageWriterERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";

struct Codecs {
  EncodeFn encode = nullptr;
  DecodeFn decode = nullptr;
  HaveWriterFn haveWriter = nullptr;
};

// Loaded once, by the first thread that asks, and kept for the life of the process.
const Codecs& Loaded() {
  static const Codecs codecs = [] {
    Codecs found;
    void* module = dlopen(VITRELLA_OPENCV_CODECS_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) return found;
    found.encode = reinterpret_cast<EncodeFn>(dlsym(module, kEncodeSymbol));
    found.decode = reinterpret_cast<DecodeFn>(dlsym(module, kDecodeSymbol));
    found.haveWriter = reinterpret_cast<HaveWriterFn>(dlsym(module, kHaveWriterSymbol));
    if (found.encode == nullptr || found.decode == nullptr || found.haveWriter == nullptr) {
      found = Codecs{};
    }
    return found;
  }();
  return codecs;
}

}  // namespace

bool OpenCvCodecsLoad() {
  return Loaded().encode != nullptr;
}

bool EncodeWithOpenCvCodec(const std::string& extension, const cv::Mat& picture,
                           std::vector<uint8_t>* bytes) {
  const Codecs& codecs = Loaded();
  if (codecs.encode == nullptr || bytes == nullptr) return false;
  const QuietStderr quiet;
  try {
    return codecs.encode(extension, picture, *bytes, std::vector<int>());
  } catch (const cv::Exception&) {
    return false;
  }
}

bool OpenCvCodecWrites(const std::string& path) {
  const Codecs& codecs = Loaded();
  if (codecs.haveWriter == nullptr) return false;
  try {
    return codecs.haveWriter(path);
  } catch (const cv::Exception&) {
    return false;
  }
}

cv::Mat DecodeWithOpenCvCodec(const std::vector<uint8_t>& bytes) {
  const Codecs& codecs = Loaded();
  if (codecs.decode == nullptr || bytes.empty()) return {};
  const QuietStderr quiet;
  try {
    return codecs.decode(bytes, cv::IMREAD_UNCHANGED);
  } catch (const cv::Exception&) {
    return {};
  }
}

}  // namespace vitrella::host
