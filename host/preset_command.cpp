#include "preset_command.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

#include "com_ref.h"
#include "host_error.h"
#include "library_loader.h"
#include "message_text.h"
#include "name_match.h"
#include "param_names.h"
#include "param_text.h"
#include "render_command.h"
#include "replacing_file.h"
#include "scripted_ui.h"
#include "vitrella/preset.h"

namespace vitrella::host {
namespace {

struct PresetCall {
  int32_t result = kPresetFailed;
  PresetRecord record{};
  std::vector<ShownItem> shown;
};

ComRef<IPresetSaver> MakeSaver(IEffectLibrary& library) {
  ComRef<IPresetSaver> saver(library.CreatePresetSaver());
  if (!saver) throw HostError("the effect library has no preset saver");
  return saver;
}

const char* LanguageCode(const std::optional<std::string>& language) {
  return language ? language->c_str() : nullptr;
}

// A dialog refuses a path longer than its buffer, which reads as a cancel.
void CheckAnswered(int32_t result, const std::vector<ShownItem>& shown, const std::string& path) {
  if (result != kPresetDone) return;
  for (const ShownItem& item : shown) {
    if (item.kind != ShownItem::Kind::kBox && !item.text.empty()) return;
  }
  throw HostError("the library's file dialog did not take the path " + path);
}

PresetCall Load(IEffectLibrary& library, uint32_t index, const std::string& path,
                const std::optional<std::string>& language) {
  const ComRef<IPresetSaver> saver = MakeSaver(library);
  PresetCall call;
  const ScriptedUi ui(path);
  call.result = saver->LoadPreset(nullptr, &library, index, &call.record, LanguageCode(language));
  call.shown = ui.Shown();
  CheckAnswered(call.result, call.shown, path);
  return call;
}

std::string FieldText(const char (&field)[kPresetTextBytes]) {
  return std::string(field, strnlen(field, kPresetTextBytes));
}

void SetField(char (&field)[kPresetTextBytes], const std::string& text) {
  const size_t count = std::min(text.size(), size_t{kPresetTextBytes - 1});
  std::memcpy(field, text.data(), count);
  field[count] = '\0';
}

// An entry as the effect's parameter at its index when the kinds agree, else by its
// kind alone, since a refused file may hold anything.
std::string EntryLine(int32_t index, const PresetParam& entry,
                      const std::vector<ParamInfo>& params) {
  ParamInfo info{};
  info.kind = static_cast<ParamKind>(entry.kind);
  std::string label = "parameter " + std::to_string(index);
  if (static_cast<size_t>(index) < params.size() && params[index].kind == entry.kind) {
    info = params[index];
    label = ParamLabel(info);
  }
  std::string line =
      "  " + std::to_string(index) + " " + label + " (" + std::string(KindName(entry.kind)) + ")";
  const std::string value = FormatValue(info, entry.value);
  if (!value.empty()) line += ": " + value;
  return line + "\n";
}

void PrintShown(const std::vector<ShownItem>& shown, bool boxes, std::ostream& out) {
  for (const ShownItem& item : shown) {
    if ((item.kind == ShownItem::Kind::kBox) == boxes) out << DescribeShown(item);
  }
}

// The first box's text: what the library told the user.
std::string BoxText(const std::vector<ShownItem>& shown) {
  for (const ShownItem& item : shown) {
    if (item.kind == ShownItem::Kind::kBox) return item.title + ": " + item.text;
  }
  return "no message";
}

// The built-in preset's name when the values start from one, else the file's stem.
std::string PresetName(IVideoEffect& effect, const RenderOptions& options) {
  if (options.preset) {
    const std::vector<std::string> names = ReadPresetNames(effect);
    uint32_t index = 0;
    if (ParseIndex(*options.preset, &index) && index < names.size()) return names[index];
    for (const std::string& name : names) {
      if (NamesMatch(name, *options.preset)) return name;
    }
  }
  return std::filesystem::path(options.presetFile.value_or("")).stem().string();
}

std::string Lowered(std::string reason) {
  if (!reason.empty() && reason[0] >= 'A' && reason[0] <= 'Z') reason[0] += 'a' - 'A';
  return reason;
}

// Why the file cannot be read, in the system's words, when that shows beforehand: the
// library's box says only that it could not open it.
std::string ReadProblem(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return "it is a directory";
  if (access(path.c_str(), R_OK) != 0) {
    return errno == ENOENT ? "no such file" : Lowered(std::strerror(errno));
  }
  return "";
}

std::string WriteProblem(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return "it is a directory";
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  const std::string where = folder.empty() ? "." : folder.string();
  if (!std::filesystem::is_directory(where, error))
    return "the folder " + where + " does not exist";
  if (access(where.c_str(), W_OK) != 0) return "the folder " + where + " is not writable";
  if (access(path.c_str(), F_OK) == 0 && access(path.c_str(), W_OK) != 0) {
    return Lowered(std::strerror(errno));
  }
  return "";
}

// A preset file is XML with a Preset element near its start.
bool LooksLikePreset(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string head(1024, '\0');
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<size_t>(file.gcount()));
  return head.find("<Preset") != std::string::npos;
}

// "REASON; the library said TITLE: TEXT", or the library's words alone.
std::string FailureText(const std::string& reason, const std::vector<ShownItem>& shown) {
  const std::string box = "the library said \"" + OneLine(BoxText(shown)) + "\"";
  return reason.empty() ? box : reason + "; " + box;
}

void ReportFailure(const std::string& message) {
  std::cerr << "vitrella: " << OneLine(message) << "\n";
}

// The library writes a preset where its save dialog is answered, adding its own extension
// to a name without one. It writes in place, so it is answered with a name in a hidden
// folder beside the file, and the preset takes its place only once whole.
class PresetStaging {
 public:
  explicit PresetStaging(const std::string& file) : file_(file) {
    const std::filesystem::path path(file);
    std::string pattern =
        (path.parent_path() / ("." + path.filename().string() + ".vitrella-XXXXXX")).string();
    // A folder that cannot be made means the library cannot write there either: it is then
    // answered with the file itself and reports the failure its own way.
    if (mkdtemp(pattern.data()) != nullptr) {
      folder_ = pattern;
      guard_.emplace(folder_);
    }
  }
  PresetStaging(const PresetStaging&) = delete;
  PresetStaging& operator=(const PresetStaging&) = delete;
  ~PresetStaging() {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }

  std::string Answer() const {
    if (folder_.empty()) return file_;
    return (std::filesystem::path(folder_) / std::filesystem::path(file_).filename()).string();
  }

  // Moves the preset the library wrote to its place beside the folder; returns that place.
  std::string Finish(const std::string& written) const {
    if (folder_.empty()) return written;
    const std::string destination =
        (std::filesystem::path(file_).parent_path() / std::filesystem::path(written).filename())
            .string();
    std::error_code error;
    if (std::filesystem::is_regular_file(destination, error) && !LooksLikePreset(destination)) {
      throw HostError("will not save over " + Quoted(destination) +
                      ": it exists and is not a preset file");
    }
    MoveIntoPlace(written, destination);
    return destination;
  }

 private:
  std::string file_;
  std::string folder_;
  std::optional<RemoveOnForcedExit> guard_;
};

int ExitStatus(int32_t result) {
  if (result == kPresetDone) return 0;
  return result == kPresetOtherEffect ? kPresetOfOtherEffect : kPresetLoadFailed;
}

}  // namespace

int RunPresetSave(const CommandLine& line, std::ostream& out) {
  const RenderOptions& options = line.render;
  const LibraryLoader loader(line.library.empty() ? DefaultLibraryPath() : line.library);
  ComRef<IEffectLibrary> library = loader.CreateLibrary();
  FoundEffect found = FindEffect(*library, options.effect);
  const std::vector<ParamInfo> params = ReadParams(*found.effect);
  const std::vector<ParamValue> values = ChooseValues(*found.effect, params, options);

  PresetRecord record{};
  SetField(record.name, PresetName(*found.effect, options));
  record.paramCount = static_cast<int32_t>(std::min<size_t>(params.size(), kPresetMaxParams));
  for (int32_t i = 0; i < record.paramCount; ++i) {
    record.params[i].kind = params[i].kind;
    record.params[i].value = values[i];
  }

  // The library writes whatever name it is given: a photograph named by mistake must not
  // become a preset file.
  std::error_code error;
  if (std::filesystem::is_regular_file(*options.presetFile, error) &&
      !LooksLikePreset(*options.presetFile)) {
    throw HostError("will not save over " + Quoted(*options.presetFile) +
                    ": it exists and is not a preset file");
  }
  const ComRef<IPresetSaver> saver = MakeSaver(*library);
  int32_t result = kPresetFailed;
  std::vector<ShownItem> shown;
  const PresetStaging staging(*options.presetFile);
  {
    const ScriptedUi ui(staging.Answer());
    result = saver->SavePreset(nullptr, library.get(), found.index, &record,
                               LanguageCode(line.language));
    shown = ui.Shown();
  }
  CheckAnswered(result, shown, *options.presetFile);
  std::string saved;
  for (const ShownItem& item : shown) {
    if (result == kPresetDone && item.kind == ShownItem::Kind::kSaveDialog) {
      saved = staging.Finish(item.text);
    }
  }
  PrintShown(shown, false, out);
  if (!saved.empty()) out << "saved: " << saved << "\n";
  PrintShown(shown, true, out);
  out << "result: " << result << "\n";
  if (result == kPresetDone) return 0;
  out.flush();
  ReportFailure("cannot save the preset file " + *options.presetFile + ": " +
                FailureText(WriteProblem(*options.presetFile), shown));
  return kPresetLoadFailed;
}

int RunPresetLoad(const CommandLine& line, std::ostream& out) {
  const LibraryLoader loader(line.library.empty() ? DefaultLibraryPath() : line.library);
  ComRef<IEffectLibrary> library = loader.CreateLibrary();
  const FoundEffect found = FindEffect(*library, line.render.effect);
  const std::vector<ParamInfo> params = ReadParams(*found.effect);
  const PresetCall call = Load(*library, found.index, *line.render.presetFile, line.language);

  PrintShown(call.shown, false, out);
  // After a refusal the record holds what the file held; after a failure nothing usable.
  if (call.result != kPresetFailed) {
    out << "preset: " << FieldText(call.record.name) << "\n"
        << "library: " << FieldText(call.record.libraryName) << "\n"
        << "effect: " << FieldText(call.record.effectName) << "\n";
    const int32_t count = std::clamp(call.record.paramCount, 0, kPresetMaxParams);
    for (int32_t i = 0; i < count; ++i)
      out << EntryLine(i, call.record.params[i], params);
  }
  PrintShown(call.shown, true, out);
  out << "result: " << call.result << "\n";
  const std::string& path = *line.render.presetFile;
  if (call.result == kPresetOtherEffect) {
    out.flush();
    ReportFailure("the preset file " + path + " holds a preset of another effect (" +
                  FieldText(call.record.effectName) + "): " + FailureText("", call.shown));
  } else if (call.result != kPresetDone) {
    out.flush();
    ReportFailure("cannot load the preset file " + path + ": " +
                  FailureText(ReadProblem(path), call.shown));
  }
  return ExitStatus(call.result);
}

std::vector<ParamValue> PresetFileValues(IEffectLibrary& library, FoundEffect& found,
                                         const RenderOptions& options,
                                         const std::optional<std::string>& language) {
  const PresetCall call = Load(library, found.index, *options.presetFile, language);
  if (call.result != kPresetDone) {
    const std::string reason =
        call.result == kPresetOtherEffect
            ? "it holds a preset of another effect (" + FieldText(call.record.effectName) + ")"
            : ReadProblem(*options.presetFile);
    throw HostError("cannot start from the preset file " + *options.presetFile + ": " +
                    FailureText(reason, call.shown));
  }
  // A preset that loaded has an entry of the right kind for every parameter.
  const std::vector<ParamInfo> params = ReadParams(*found.effect);
  std::vector<ParamValue> values;
  for (size_t i = 0; i < params.size(); ++i) {
    const bool inFile = i < static_cast<size_t>(std::max(call.record.paramCount, 0));
    values.push_back(inFile ? call.record.params[i].value : params[i].defaultValue);
  }
  for (const ParamSetting& setting : options.settings) {
    const ParamSettingValue resolved = ResolveSetting(params, setting.param, setting.value);
    values[resolved.index] = resolved.value;
  }
  return values;
}

}  // namespace vitrella::host
