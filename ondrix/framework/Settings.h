// Settings files: components and the components they own, saved as JSON and loaded back
// into new objects through the class registry.
//
// One JSON object per component:
//   {"class": "TFoo", "name": "Foo1",
//    "properties": {"Gain": 2.5, "Mode": "fmFast", "Input": "Gen1", "Sub": {...},
//                   "Items": [{...}, ...], "Coeffs": {"complex": false, "values": [...]},
//                   "Lines": [{"function": "sine", ...}, ...]},
//    "binary": {"Marks": "<base64>"},
//    "components": [ ... owned components ... ]}
// A sub-object or collection item is {"properties": {...}, "binary": {...}}; empty parts are
// left out. JSON properties (TFiler::DefineJsonProperty) follow the published properties
// under "properties". Non-finite doubles are the strings "NaN", "Infinity" and "-Infinity".
//
// Links are names relative to the saved root: "Gen1" is a component owned by the root,
// "List1.Gen1" one owned by List1, "" the root itself; "^Gen1" is a component owned by
// the root's owner (a sibling of the root), "^" that owner. A link to an unnamed component
// or to one outside these cannot be saved (EWriteError).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ondrix/framework/TComponent.h"
#include "ondrix/framework/TPersistent.h"

namespace ondrix {

/// Saves Root and every component it owns (recursively): class, name, the stored
/// published properties that differ from their defaults (and those without default),
/// binary properties and links by name.
std::string SaveComponentToJson(const TComponent& Root);
void SaveComponentToFile(const TComponent& Root, const std::string& FileName);

/// Creates a new component tree from settings. Every component is created through the
/// registry with csLoading set; links are restored once the whole tree exists; then
/// csLoading is cleared and Loaded() called on each, in creation order. An owned component
/// that the owner's constructor already made (same name and class) is loaded into instead
/// of created. Malformed data (bad JSON, unknown class or property, wrong value type,
/// dangling link) raises EReadError naming the place; nothing of the tree survives.
std::unique_ptr<TComponent> LoadComponentFromJson(const std::string& Json);
/// As above, then inserts the new root into Owner, against which "^" links resolve.
/// On any error Owner is left as it was.
TComponent* LoadComponentFromJson(const std::string& Json, TComponent& Owner);
std::unique_ptr<TComponent> LoadComponentFromFile(const std::string& FileName);
TComponent* LoadComponentFromFile(const std::string& FileName, TComponent& Owner);

/// What SaveSettingsToJson writes.
struct TSettingsOptions {
  /// Leave out properties equal to their default (right for new objects; wrong when the
  /// settings are applied to an existing object, which must get every value).
  bool SkipDefaults = false;
  /// Write component links (by name, relative to the object's owner: "^Name").
  bool Links = true;
};

/// The settings of one component without its owned components: {"class", "properties",
/// "binary"}. Every stored property is written unless Options say otherwise.
std::string SaveSettingsToJson(const TComponent& Obj, const TSettingsOptions& Options = {});
/// Applies settings to an existing component (class must be the component's or an
/// ancestor's). The data is checked completely before anything is changed (JSON, class,
/// property names, value types, links), so a malformed stream leaves the object as it was;
/// only an exception raised by a setter itself can leave it partly updated. With
/// Links false, links in the data are ignored. csLoading is set meanwhile; Loaded() follows.
void LoadSettingsFromJson(TComponent& Obj, const std::string& Json, bool Links = true);

// --- Helpers for JSON properties -------------------------------------------------------------

/// A double as settings files write it: a number, or "NaN", "Infinity", "-Infinity".
TFiler::TJson DoubleToSettingsJson(double Value);
/// The inverse; anything else raises EJsonPropertyError(Path, "a number expected").
double SettingsJsonToDouble(const TFiler::TJson& Value, const std::string& Path);

/// Reads one record (a JSON object of named fields) of a JSON property's array. Every fault
/// raises EJsonPropertyError at the record's Path ("[2]") or at one of its fields
/// ("[2].Gain"); Finish rejects fields that were never asked for.
class TJsonRecordReader {
public:
  /// Record Index of the array (Path "[Index]"); raises when it is not an object.
  TJsonRecordReader(const TFiler::TJson& Record, std::size_t Index);

  /// The field, or nullptr when it is absent.
  const TFiler::TJson* Find(const std::string& Name);
  /// An optional true or false.
  bool Bool(const std::string& Name, bool Default);
  /// A required number (non-finite ones as DoubleToSettingsJson writes them).
  double Double(const std::string& Name);
  /// An optional number.
  double Double(const std::string& Name, double Default);
  /// An optional integer within Min .. Max.
  std::int64_t Integer(const std::string& Name, std::int64_t Min, std::int64_t Max, std::int64_t Default);
  /// Raises "unknown entry" for the first field not asked for.
  void Finish() const;
  /// Raises EJsonPropertyError at Path + Sub ("" for the record itself, ".params[8]").
  [[noreturn]] void Fail(const std::string& Sub, const std::string& What) const;
  const std::string& Path() const noexcept { return path_; }

private:
  const TFiler::TJson& record_;
  std::string path_;
  std::vector<std::string> used_;
};

}  // namespace ondrix
