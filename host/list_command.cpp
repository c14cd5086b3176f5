#include "list_command.h"

#include "catalog_json.h"
#include "catalog_text.h"
#include "effect_catalog.h"
#include "library_loader.h"

namespace vitrella::host {

void RunList(const CommandLine& line, std::ostream& out) {
  const LibraryLoader loader(line.library.empty() ? DefaultLibraryPath() : line.library);
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
  }
}

}  // namespace vitrella::host
