// Settings files: components and the components they own, saved as JSON and loaded back
// into new objects through the class registry.
//
// One JSON object per component:
//   {"class": "TFoo", "name": "Foo1",
//    "properties": {"Gain": 2.5, "Mode": "fmFast", "Input": "Gen1", "Sub": {...},
//                   "Bands": [{...}, ...], "Coeffs": {"complex": false, "values": [...]}},
//    "binary": {"Marks": "<base64>"},
//    "components": [ ... owned components ... ]}
// A sub-object or collection item is {"properties": {...}, "binary": {...}}; empty parts are
// left out. Non-finite doubles are the strings "NaN", "Infinity" and "-Infinity".
//
// Links are names relative to the saved root: "Gen1" is a component owned by the root,
// "List1.Gen1" one owned by List1, "" the root itself; "^Gen1" is a component owned by
// the root's owner (a sibling of the root), "^" that owner. A link to an unnamed component
// or to one outside these cannot be saved (EWriteError).
#pragma once

#include <memory>
#include <string>

#include "ondrix/framework/TComponent.h"

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

}  // namespace ondrix
