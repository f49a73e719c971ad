// Published-property tables and class information: one table per class, linked to the
// parent class's table, from which assignment, settings files and templates all work.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ondrix {

class TObject;
class TPersistent;
class TComponent;

/// What a published property holds.
enum class TPropKind {
  Bool,
  Integer,
  Double,
  String,
  Enum,        ///< an enumeration; held as its ordinal, stored in files by its value name
  Component,   ///< a weak link to another component, stored in files by name
  Object,      ///< an owned persistent sub-object, assigned recursively, stored nested
  Collection,  ///< an owned TCollection, stored as an array of its items
  FloatArray,  ///< an array of doubles, real or complex (the vector layer converts)
};

/// A vector of doubles as the framework sees it: complex values interleaved (re, im).
struct TFloatArray {
  bool Complex = false;
  std::vector<double> Values;
  bool operator==(const TFloatArray&) const = default;
};

/// A property value. Integers and enumeration ordinals are std::int64_t, component links
/// TComponent*, owned sub-objects and collections TPersistent*.
using TPropValue =
    std::variant<bool, std::int64_t, double, std::string, TComponent*, TPersistent*, TFloatArray>;

/// One published property: name, type, default, getter, setter and stored rule.
struct TPropInfo {
  std::string Name;
  TPropKind Kind = TPropKind::Integer;
  /// Value names of an enumeration; the ordinal is the index.
  std::vector<std::string> EnumNames;
  /// Value left out of settings files when equal; none means always written.
  std::optional<TPropValue> Default;
  /// Reads the property of an object of the declaring class (or a descendant).
  std::function<TPropValue(const TObject&)> Get;
  /// Writes it; empty for read-only scalars and for sub-objects (which are assigned into).
  /// Raises EPropertyError on a value of the wrong type.
  std::function<void(TObject&, const TPropValue&)> Set;
  /// Whether the property is written to settings files and templates; empty means always.
  std::function<bool(const TObject&)> Stored;
  /// False for identity properties (Name) that Assign must not copy.
  bool Assignable = true;
  /// For links: whether a component is of the property's class (checked before setting).
  std::function<bool(const TComponent&)> Accepts;

  bool IsStored(const TObject& Obj) const { return !Stored || Stored(Obj); }
  /// Ordinal of an enumeration value name, or -1.
  int EnumOrdinal(std::string_view ValueName) const;
};

/// Run-time information of one class: name, parent, own published properties, factory.
struct TClassInfo {
  std::string Name;
  const TClassInfo* Parent = nullptr;
  /// Properties declared by this class, in declaration order (parent's are in Parent).
  std::vector<TPropInfo> Properties;
  /// Creates an instance (components without owner); empty for abstract classes and
  /// classes that need constructor arguments (collection items).
  std::function<std::unique_ptr<TObject>()> Factory;

  bool InheritsFrom(const TClassInfo& Other) const;
  /// Finds a property by name in this class or its ancestors; nullptr if absent.
  const TPropInfo* FindProperty(std::string_view PropName) const;
  /// Every property of the chain, ancestors' first, each in declaration order.
  std::vector<const TPropInfo*> AllProperties() const;
  /// Creates an instance through the factory; EFilerError if the class has none.
  std::unique_ptr<TObject> Create() const;
};

/// The nearest class that both A and B inherit from (TObject at worst).
const TClassInfo& CommonAncestor(const TClassInfo& A, const TClassInfo& B);

/// Reads a published property by name; EPropertyError if the class has no such property.
TPropValue GetPropValue(const TObject& Obj, std::string_view PropName);

/// Writes a published property by name. Enumerations accept an ordinal or a value name,
/// doubles accept integers; owned sub-objects are assigned from the given TPersistent*.
/// EPropertyError for unknown or read-only properties and values of the wrong type.
void SetPropValue(TObject& Obj, std::string_view PropName, const TPropValue& Value);

/// Copies the published properties of the classes Dst and Src have in common, ancestors'
/// first: scalars through getter and setter, sub-objects and collections by their own
/// Assign. Stored rules are not consulted (they govern files, not assignment); read-only
/// properties and identity properties (Name) are skipped, and so are component links when
/// SkipLinks is set (block assignment).
void AssignProperties(TObject& Dst, const TObject& Src, bool SkipLinks = false);

}  // namespace ondrix
