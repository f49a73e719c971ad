// TPersistent: an object that can be assigned from another and stored in settings files.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "ondrix/framework/TObject.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

class TStream;

/// Malformed data in the value of a JSON property (see TFiler::DefineJsonProperty). Path
/// locates the fault inside the value ("[2].params", "" for the value itself); the settings
/// reader puts the property's place in front of it.
class EJsonPropertyError : public EReadError {
public:
  EJsonPropertyError(std::string Path, std::string Detail)
      : EReadError(Path.empty() ? Detail : Path + ": " + Detail), path_(std::move(Path)), detail_(std::move(Detail)) {}
  const std::string& Path() const noexcept { return path_; }
  const std::string& Detail() const noexcept { return detail_; }

private:
  std::string path_;
  std::string detail_;
};

/// Lets an object define properties that are not published properties: binary ones (marks,
/// template streams), stored as base64, and JSON ones (record lists people write by hand),
/// stored as JSON among the published properties.
class TFiler {
public:
  using TStreamProc = std::function<void(TStream&)>;
  /// The value of a JSON property (an object keeps its keys in the order written).
  using TJson = nlohmann::ordered_json;
  /// Reads a JSON property. With Apply false it only checks Value; with Apply true it also
  /// takes it over. Malformed data raises EJsonPropertyError (or another exception) before
  /// anything has changed.
  using TJsonReadProc = std::function<void(const TJson& Value, bool Apply)>;
  /// Writes a JSON property's value into Value (given as null).
  using TJsonWriteProc = std::function<void(TJson& Value)>;

  virtual ~TFiler() = default;

  /// Defines a binary property. ReadData is given a stream positioned at the start of the
  /// stored bytes; WriteData writes them. HasData false means nothing is written this time.
  virtual void DefineBinaryProperty(const std::string& Name, TStreamProc ReadData,
                                    TStreamProc WriteData, bool HasData) = 0;

  /// Defines a JSON property. HasData false means nothing is written this time; IsDefault
  /// true means the value is what a new object holds, so writers that leave out defaults
  /// leave it out. A binary property of the same name may stay defined for reading data
  /// written in an older form (with HasData false).
  virtual void DefineJsonProperty(const std::string& Name, TJsonReadProc ReadData, TJsonWriteProc WriteData,
                                  bool HasData, bool IsDefault = false) = 0;
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

  /// Defines binary and JSON properties (see TFiler). Called both when writing and when
  /// reading; a writer only calls the write procedures. Base: none.
  virtual void DefineProperties(TFiler& Filer);

protected:
  /// Copies this object into Dest; the fallback of Assign. Base: raises EConvertError
  /// "Cannot assign a <this class> to a <Dest class>".
  virtual void AssignTo(TPersistent& Dest) const;
};

}  // namespace ondrix
