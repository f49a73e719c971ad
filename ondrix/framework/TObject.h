// TObject: the root of every framework class, with its class information.
#pragma once

#include <functional>
#include <string>

namespace ondrix {

struct TClassInfo;

/// Declares a class's own class information. Place it in the public section of every class
/// that has its own published properties or registry entry, and define StaticClassInfo() in
/// the .cpp with TClassBuilder (see ClassBuilder.h).
#define ONDRIX_CLASS_INFO()                                                      \
  static const ::ondrix::TClassInfo& StaticClassInfo();                         \
  const ::ondrix::TClassInfo& ClassInfo() const override { return StaticClassInfo(); }

/// Root of the class hierarchy: a virtual destructor and run-time class information
/// (name, parent class, published properties, factory).
class TObject {
public:
  TObject() = default;
  TObject(const TObject&) = default;
  TObject& operator=(const TObject&) = default;
  virtual ~TObject() = default;

  /// Class information of TObject itself.
  static const TClassInfo& StaticClassInfo();
  /// Class information of the object's most derived class that declares one.
  virtual const TClassInfo& ClassInfo() const { return StaticClassInfo(); }

  /// Name of the class, as entered in its class information ("TObject", "TComponent", ...).
  const std::string& ClassName() const;
  /// True when the object's class is Info or derives from it.
  bool InheritsFrom(const TClassInfo& Info) const;
};

/// The notify event: a handler called with the sender.
using TNotifyEvent = std::function<void(TObject* Sender)>;

}  // namespace ondrix
