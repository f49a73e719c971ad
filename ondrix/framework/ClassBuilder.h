// TClassBuilder: declares a class's information and published-property table from its
// getters and setters, once, in the class's .cpp file.
//
//   const TClassInfo& TFoo::StaticClassInfo() {
//     static const TClassInfo info = TClassBuilder<TFoo, TKvxComponent>("TFoo")
//         .Prop("Gain", &TFoo::Gain, &TFoo::SetGain, 1.0)           // double, default 1
//         .Enum("Mode", &TFoo::Mode, &TFoo::SetMode, {"fmSlow", "fmFast"}, fmSlow)
//         .Prop("Input", &TFoo::Input, &TFoo::SetInput).Stored(&TFoo::InputsStored)
//         .Prop("Peaks", &TFoo::Peaks)                               // owned sub-object
//         .Build();
//     return info;
//   }
//
// A getter is anything std::invoke can call with `const TFoo&` (a member function
// `T Foo() const`, or a lambda); a setter anything it can call with `TFoo&` and the value
// (`void SetFoo(T)`, virtual setters dispatch virtually). The property kind follows from the
// getter's type: bool, integral, floating, std::string, TFloatArray, a pointer to a
// TComponent descendant (a link, needs a setter), a pointer to a TCollection or another
// TPersistent descendant (an owned sub-object: getter only, assigned into). Enumerations
// are declared with Enum and their value names.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ondrix/framework/ClassInfo.h"
#include "ondrix/framework/TCollection.h"
#include "ondrix/framework/TComponent.h"

namespace ondrix {

namespace detail {

template <class>
inline constexpr bool kAlwaysFalse = false;

/// The value type of a property whose getter is G on class C.
template <class C, class G>
using TPropType = std::remove_cvref_t<std::invoke_result_t<const G&, const C&>>;

template <class V>
constexpr TPropKind PropKindOf() {
  if constexpr (std::is_same_v<V, bool>) {
    return TPropKind::Bool;
  } else if constexpr (std::is_integral_v<V>) {
    return TPropKind::Integer;
  } else if constexpr (std::is_floating_point_v<V>) {
    return TPropKind::Double;
  } else if constexpr (std::is_same_v<V, std::string>) {
    return TPropKind::String;
  } else if constexpr (std::is_same_v<V, TFloatArray>) {
    return TPropKind::FloatArray;
  } else if constexpr (std::is_enum_v<V>) {
    return TPropKind::Enum;
  } else if constexpr (std::is_pointer_v<V>) {
    using T = std::remove_cv_t<std::remove_pointer_t<V>>;
    if constexpr (std::is_base_of_v<TComponent, T>) {
      return TPropKind::Component;
    } else if constexpr (std::is_base_of_v<TCollection, T>) {
      return TPropKind::Collection;
    } else if constexpr (std::is_base_of_v<TPersistent, T>) {
      return TPropKind::Object;
    } else {
      static_assert(kAlwaysFalse<V>, "a pointer property must point to a TPersistent descendant");
    }
  } else {
    static_assert(kAlwaysFalse<V>, "unsupported published property type");
  }
}

/// Raises EPropertyError "Invalid value for property <Prop>: <Expected> expected".
[[noreturn]] void BadPropValue(const std::string& Prop, const char* Expected);

template <class V>
TPropValue ToPropValue(const V& Value) {
  constexpr TPropKind K = PropKindOf<V>();
  if constexpr (K == TPropKind::Bool) {
    return TPropValue(std::in_place_type<bool>, Value);
  } else if constexpr (K == TPropKind::Integer || K == TPropKind::Enum) {
    return TPropValue(std::in_place_type<std::int64_t>, static_cast<std::int64_t>(Value));
  } else if constexpr (K == TPropKind::Double) {
    return TPropValue(std::in_place_type<double>, static_cast<double>(Value));
  } else if constexpr (K == TPropKind::String) {
    return TPropValue(std::in_place_type<std::string>, Value);
  } else if constexpr (K == TPropKind::FloatArray) {
    return TPropValue(std::in_place_type<TFloatArray>, Value);
  } else if constexpr (K == TPropKind::Component) {
    return TPropValue(std::in_place_type<TComponent*>, const_cast<std::remove_cv_t<std::remove_pointer_t<V>>*>(Value));
  } else {
    return TPropValue(std::in_place_type<TPersistent*>, const_cast<std::remove_cv_t<std::remove_pointer_t<V>>*>(Value));
  }
}

/// Ordinal of a value name in Names, or -1.
int EnumOrdinalOf(const std::vector<std::string>& Names, std::string_view ValueName);

/// What a setter needs to know of its property to convert and to report errors.
struct TPropMeta {
  std::string Name;
  std::vector<std::string> EnumNames;
};

/// Converts a value to the property's type V; enumerations are checked against EnumNames.
template <class V>
V FromPropValue(const TPropValue& Value, const TPropMeta& Info) {
  constexpr TPropKind K = PropKindOf<V>();
  if constexpr (K == TPropKind::Bool) {
    if (const bool* b = std::get_if<bool>(&Value)) return *b;
    BadPropValue(Info.Name, "a boolean");
  } else if constexpr (K == TPropKind::Integer) {
    const std::int64_t* i = std::get_if<std::int64_t>(&Value);
    if (!i) BadPropValue(Info.Name, "an integer");
    if (!std::in_range<V>(*i)) BadPropValue(Info.Name, "an integer within the property's range");
    return static_cast<V>(*i);
  } else if constexpr (K == TPropKind::Enum) {
    std::int64_t ordinal = -1;
    if (const std::int64_t* i = std::get_if<std::int64_t>(&Value)) {
      ordinal = *i;
    } else if (const std::string* s = std::get_if<std::string>(&Value)) {
      ordinal = EnumOrdinalOf(Info.EnumNames, *s);
    }
    if (ordinal < 0 || ordinal >= static_cast<std::int64_t>(Info.EnumNames.size())) {
      BadPropValue(Info.Name, "one of the enumeration's values");
    }
    return static_cast<V>(ordinal);
  } else if constexpr (K == TPropKind::Double) {
    if (const double* d = std::get_if<double>(&Value)) return static_cast<V>(*d);
    if (const std::int64_t* i = std::get_if<std::int64_t>(&Value)) return static_cast<V>(*i);
    BadPropValue(Info.Name, "a number");
  } else if constexpr (K == TPropKind::String) {
    if (const std::string* s = std::get_if<std::string>(&Value)) return *s;
    BadPropValue(Info.Name, "a string");
  } else if constexpr (K == TPropKind::FloatArray) {
    if (const TFloatArray* a = std::get_if<TFloatArray>(&Value)) return *a;
    BadPropValue(Info.Name, "a float array");
  } else if constexpr (K == TPropKind::Component) {
    using T = std::remove_cv_t<std::remove_pointer_t<V>>;
    TComponent* const* c = std::get_if<TComponent*>(&Value);
    if (!c) BadPropValue(Info.Name, "a component");
    if (*c == nullptr) return nullptr;
    if constexpr (std::is_same_v<T, TComponent>) {
      return *c;
    } else {
      if (T* t = dynamic_cast<T*>(*c)) return t;
      BadPropValue(Info.Name, "a component of the property's class");
    }
  } else {
    static_assert(kAlwaysFalse<V>, "sub-objects are assigned into, not set");
  }
}

}  // namespace detail

/// Builds the TClassInfo of class C, whose parent class is P (void for the root).
template <class C, class P>
class TClassBuilder {
public:
  explicit TClassBuilder(std::string Name) {
    info_.Name = std::move(Name);
    if constexpr (!std::is_void_v<P>) {
      static_assert(std::is_base_of_v<P, C>, "P must be the parent class of C");
      info_.Parent = &P::StaticClassInfo();
    }
    if constexpr (!std::is_abstract_v<C>) {
      if constexpr (std::is_constructible_v<C, TComponent*>) {
        info_.Factory = []() -> std::unique_ptr<TObject> { return std::make_unique<C>(static_cast<TComponent*>(nullptr)); };
      } else if constexpr (std::is_default_constructible_v<C>) {
        info_.Factory = []() -> std::unique_ptr<TObject> { return std::make_unique<C>(); };
      }
    }
  }

  /// A read-write property without default (always written to settings files).
  template <class G, class S>
  TClassBuilder& Prop(std::string Name, G Get, S Set) {
    static_assert(!std::is_enum_v<detail::TPropType<C, G>>, "enumerations are declared with Enum");
    return AddReadWrite(std::move(Name), std::move(Get), std::move(Set), std::nullopt, {});
  }
  /// A read-write property with its default.
  template <class G, class S>
  TClassBuilder& Prop(std::string Name, G Get, S Set, const detail::TPropType<C, G>& Default) {
    static_assert(!std::is_enum_v<detail::TPropType<C, G>>, "enumerations are declared with Enum");
    return AddReadWrite(std::move(Name), std::move(Get), std::move(Set),
                        std::optional<detail::TPropType<C, G>>(Default), {});
  }
  /// A read-only property (readable by name, never assigned or stored), or an owned
  /// sub-object or collection (assigned into and stored nested).
  template <class G>
  TClassBuilder& Prop(std::string Name, G Get) {
    using V = detail::TPropType<C, G>;
    TPropInfo& p = NewProp(std::move(Name), detail::PropKindOf<V>());
    p.Get = [Get](const TObject& o) { return detail::ToPropValue<V>(std::invoke(Get, static_cast<const C&>(o))); };
    return *this;
  }
  /// An enumeration with its value names (ordinal = index), optionally with its default.
  template <class G, class S>
  TClassBuilder& Enum(std::string Name, G Get, S Set, std::vector<std::string> Names,
                      std::optional<detail::TPropType<C, G>> Default = std::nullopt) {
    static_assert(std::is_enum_v<detail::TPropType<C, G>>, "Enum needs an enumeration getter");
    return AddReadWrite(std::move(Name), std::move(Get), std::move(Set), Default, std::move(Names));
  }

  /// The stored rule of the last property: Pred(const C&) says whether it is written.
  template <class F>
  TClassBuilder& Stored(F Pred) {
    info_.Properties.back().Stored = [Pred](const TObject& o) {
      return static_cast<bool>(std::invoke(Pred, static_cast<const C&>(o)));
    };
    return *this;
  }
  TClassBuilder& Stored(bool Value) {
    info_.Properties.back().Stored = [Value](const TObject&) { return Value; };
    return *this;
  }
  /// Marks the last property as not copied by Assign (identity properties).
  TClassBuilder& NoAssign() {
    info_.Properties.back().Assignable = false;
    return *this;
  }
  /// Adds a hand-made property description (for anything the helpers do not cover).
  TClassBuilder& Custom(TPropInfo Info) {
    info_.Properties.push_back(std::move(Info));
    return *this;
  }

  TClassInfo Build() { return std::move(info_); }

private:
  TPropInfo& NewProp(std::string Name, TPropKind Kind) {
    TPropInfo& p = info_.Properties.emplace_back();
    p.Name = std::move(Name);
    p.Kind = Kind;
    return p;
  }

  template <class G, class S>
  TClassBuilder& AddReadWrite(std::string Name, G Get, S Set, std::optional<detail::TPropType<C, G>> Default,
                              std::vector<std::string> EnumNames) {
    using V = detail::TPropType<C, G>;
    constexpr TPropKind K = detail::PropKindOf<V>();
    static_assert(K != TPropKind::Object && K != TPropKind::Collection,
                  "owned sub-objects are declared with a getter only");
    TPropInfo& p = NewProp(Name, K);
    p.EnumNames = EnumNames;
    p.Get = [Get](const TObject& o) { return detail::ToPropValue<V>(std::invoke(Get, static_cast<const C&>(o))); };
    p.Set = [Set, meta = detail::TPropMeta{std::move(Name), std::move(EnumNames)}](TObject& o, const TPropValue& v) {
      std::invoke(Set, static_cast<C&>(o), detail::FromPropValue<V>(v, meta));
    };
    if (Default) {
      p.Default = detail::ToPropValue<V>(*Default);
    } else if constexpr (K == TPropKind::Component) {
      p.Default = TPropValue(std::in_place_type<TComponent*>, nullptr);
    }
    if constexpr (K == TPropKind::Component) {
      using T = std::remove_cv_t<std::remove_pointer_t<V>>;
      p.Accepts = [](const TComponent& c) { return dynamic_cast<const T*>(&c) != nullptr; };
    }
    return *this;
  }

  TClassInfo info_;
};

}  // namespace ondrix
