#include "list_command.h"

#include "catalog_json.h"
#include "catalog_text.h"
#include "effect_catalog.h"
#include "effect_panel.h"
#include "gpu_render.h"
#include "library_loader.h"

namespace vitrella::host {

namespace {

// Which effects take the GPU path on this machine's OpenGL context.
void WriteGpuAcceptance(const LibraryLoader& loader, std::ostream& out) {
  std::string reason;
  const std::unique_ptr<EglServices> services = CreateEglServices(&reason);
  if (services == nullptr) {
    out << "GPU path: no OpenGL context (" << reason << ")\n";
    return;
  }
  const int32_t length = services->GetDiagnosticText(7, nullptr, 0);
  std::u16string wide(static_cast<size_t>(length) + 1, u'\0');
  services->GetDiagnosticText(7, wide.data(), length + 1);
  out << "GPU path on " << std::string(wide.begin(), wide.begin() + length) << ":";
  ComRef<IEffectLibrary> library = loader.CreateLibrary();
  std::string accepted;
  ForEachEffect(*library, [&](uint32_t /*index*/, IVideoEffect& effect) {
    if (AcceptsGpu(*services, effect)) accepted += " " + EffectName(effect) + ",";
  });
  if (!accepted.empty()) accepted.pop_back();
  out << (accepted.empty() ? " no effect accepts it" : accepted) << "\n";
}

// `list EFFECT`: one effect, as its panel or its presets.
void ListOneEffect(const LibraryLoader& loader, const CommandLine& line, std::ostream& out) {
  EffectDescription effect;
  std::string libraryName;
  {
    ComRef<IEffectLibrary> library = loader.CreateLibrary();
    const char* name = library->GetLibraryName();
    libraryName = name != nullptr ? name : "";
    FoundEffect found = FindEffect(*library, *line.listEffect);
    effect = DescribeEffect(found.index, *found.effect);
  }
  if (line.json) {
    WriteCatalogJson(libraryName, {effect}, out);
  } else if (line.listPresets) {
    WriteEffectPresets(effect, out);
  } else {
    WriteEffectPanel(effect, out);
  }
}

}  // namespace

void RunList(const CommandLine& line, std::ostream& out) {
  const LibraryLoader loader(line.library.empty() ? DefaultLibraryPath() : line.library);
  if (line.listEffect) {
    ListOneEffect(loader, line, out);
    return;
  }
  std::vector<EffectDescription> effects;
  std::string libraryName;
  {
    ComRef<IEffectLibrary> library = loader.CreateLibrary();
    const char* name = library->GetLibraryName();
    libraryName = name != nullptr ? name : "";
    ForEachEffect(*library, [&](uint32_t index, IVideoEffect& effect) {
      effects.push_back(DescribeEffect(index, effect));
    });
  }
  if (line.json) {
    WriteCatalogJson(libraryName, effects, out);
  } else {
    WriteCatalogText(libraryName, effects, out);
    WriteGpuAcceptance(loader, out);
  }
}

}  // namespace vitrella::host
