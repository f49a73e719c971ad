// TPersistent: an object that can be assigned from another and stored in settings files.
#pragma once

#include <functional>
#include <string>

#include "ondrix/framework/TObject.h"

namespace ondrix {

class TStream;

/// Lets an object define binary properties (payloads that are not published properties,
/// such as marks or template lists) for settings files.
class TFiler {
public:
  using TStreamProc = std::function<void(TStream&)>;
  virtual ~TFiler() = default;

  /// Defines a binary property. ReadData is given a stream positioned at the start of the
  /// stored bytes; WriteData writes them. HasData false means nothing is written this time.
  virtual void DefineBinaryProperty(const std::string& Name, TStreamProc ReadData,
                                    TStreamProc WriteData, bool HasData) = 0;
};

/// An object that can be assigned from another and has published properties and binary
/// properties that settings files store.
class TPersistent : public TObject {
public:
  ONDRIX_CLASS_INFO()

  /// Copies Source into this object. Default: when one class derives from the other and
  /// their common table has assignable properties, copies them (AssignProperties);
  /// otherwise defers to Source.AssignTo(*this). Assigning an object to itself does nothing.
  virtual void Assign(const TPersistent& Source);

  /// The object that owns this one (a collection for its items, a component for its
  /// sub-objects); nullptr if none.
  virtual TPersistent* GetOwner() const { return nullptr; }

  /// Defines binary properties (see TFiler). Called both when writing and when reading;
  /// a writer only calls the WriteData procedures. Base: none.
  virtual void DefineProperties(TFiler& Filer);

protected:
  /// Copies this object into Dest; the fallback of Assign. Base: raises EConvertError
  /// "Cannot assign a <this class> to a <Dest class>".
  virtual void AssignTo(TPersistent& Dest) const;
};

}  // namespace ondrix
