// EGL services made while VITRELLA_GL_HIDE hides some of the context's ways to count a
// histogram, so that one context stands for contexts with fewer extensions.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "host/egl_services.h"

namespace vitrella::testing {

// Services made while VITRELLA_GL_HIDE holds `hidden`; the variable is restored after.
inline std::unique_ptr<host::EglServices> ServicesHiding(const char* hidden) {
  const char* before = std::getenv("VITRELLA_GL_HIDE");
  const std::string saved = before != nullptr ? before : "";
  setenv("VITRELLA_GL_HIDE", hidden, 1);
  std::string reason;
  auto services = host::CreateEglServices(&reason);
  if (before != nullptr) {
    setenv("VITRELLA_GL_HIDE", saved.c_str(), 1);
  } else {
    unsetenv("VITRELLA_GL_HIDE");
  }
  EXPECT_NE(services, nullptr) << "no OpenGL context: " << reason;
  return services;
}

}  // namespace vitrella::testing
