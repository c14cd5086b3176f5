// A built frei0r plugin loaded the way ffmpeg and melt load one: by path, its f0r_*
// functions looked up by name.
#pragma once

#include <dlfcn.h>
#include <frei0r.h>

#include <stdexcept>
#include <string>

namespace vitrella::testing {

// The ten plugins' names, in the library's effect order.
inline constexpr const char* kFrei0rEffects[] = {
    "auto_contrast", "diffusion",         "dual_booster",    "edge_smoother", "gradient_tint",
    "image_mapper",  "proportion_helper", "rolling_shutter", "split_screen",  "spotlight"};

inline std::string Frei0rFolder() {
  return std::string(VITRELLA_BIN_DIR) + "/frei0r-1";
}

class Frei0rPlugin {
 public:
  explicit Frei0rPlugin(const std::string& effect) {
    const std::string path = Frei0rFolder() + "/vitrella_" + effect + ".so";
    module_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module_ == nullptr) throw std::runtime_error("cannot load " + path + ": " + dlerror());
    Find(init, "f0r_init");
    Find(deinit, "f0r_deinit");
    Find(get_plugin_info, "f0r_get_plugin_info");
    Find(get_param_info, "f0r_get_param_info");
    Find(construct, "f0r_construct");
    Find(destruct, "f0r_destruct");
    Find(set_param_value, "f0r_set_param_value");
    Find(get_param_value, "f0r_get_param_value");
    Find(update, "f0r_update");
  }
  Frei0rPlugin(const Frei0rPlugin&) = delete;
  Frei0rPlugin& operator=(const Frei0rPlugin&) = delete;
  // Plugins stay mapped, as they do in ffmpeg: the effect library they load stays too.
  ~Frei0rPlugin() = default;

  f0r_plugin_info_t Info() const {
    f0r_plugin_info_t info{};
    get_plugin_info(&info);
    return info;
  }
  f0r_param_info_t ParamInfo(int index) const {
    f0r_param_info_t info{};
    get_param_info(&info, index);
    return info;
  }

  decltype(&f0r_init) init = nullptr;
  decltype(&f0r_deinit) deinit = nullptr;
  decltype(&f0r_get_plugin_info) get_plugin_info = nullptr;
  decltype(&f0r_get_param_info) get_param_info = nullptr;
  decltype(&f0r_construct) construct = nullptr;
  decltype(&f0r_destruct) destruct = nullptr;
  decltype(&f0r_set_param_value) set_param_value = nullptr;
  decltype(&f0r_get_param_value) get_param_value = nullptr;
  decltype(&f0r_update) update = nullptr;

 private:
  template <typename Fn>
  void Find(Fn& fn, const char* name) {
    fn = reinterpret_cast<Fn>(dlsym(module_, name));
    if (fn == nullptr) throw std::runtime_error(std::string("the plugin lacks ") + name);
  }

  void* module_ = nullptr;
};

}  // namespace vitrella::testing
