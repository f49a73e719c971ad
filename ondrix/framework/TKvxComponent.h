// TKvxComponent: the base of every processing component: assignment from the property
// table, block assignment, settings streams and settings templates.
#pragma once

#include <string>

#include "ondrix/framework/TComponent.h"

namespace ondrix {

class TStream;

/// Base of every processing component.
///
/// Settings streams (SaveToStream / LoadFromStream) hold this one component's stored
/// published properties and binary properties, every value included (not only those that
/// differ from the default), as a 32-bit little-endian byte count followed by that many
/// bytes of JSON (see SaveSettingsToJson). Links are stored by name relative to the owner.
///
/// Templates are settings taken with block assignment on: no links, and whatever the
/// stored rules and DefineProperties leave out when AllowStreaming() is false (large data).
class TKvxComponent : public TComponent {
public:
  ONDRIX_CLASS_INFO()

  explicit TKvxComponent(TComponent* AOwner) : TComponent(AOwner) {}

  /// Between related classes (one derives from the other): copies the published
  /// properties of the common table (AssignProperties), skipping component links when this
  /// component or Source is block-assigned. Otherwise the base Assign.
  void Assign(const TPersistent& Source) override;

  /// While set, property-driven assignment leaves links alone, AllowStreaming() is false,
  /// and stored rules may read it to keep links and large data out of templates.
  virtual void SetBlockAssign(bool Value) { blockAssign_ = Value; }
  virtual bool GetBlockAssign() const { return blockAssign_; }
  /// Whether large data (sample blocks, marks) is to be streamed; false while block-assigned.
  virtual bool AllowStreaming() const { return !GetBlockAssign(); }

  /// Whether the display event of an update is fired (read by the pull protocol).
  bool DisplayEvents() const noexcept { return displayEvents_; }
  void SetDisplayEvents(bool Value) noexcept { displayEvents_ = Value; }

  /// Class name of the editor form of the component; empty when it has none.
  virtual std::string EditorClass() const { return {}; }

  /// Settings of this component (see class comment), written at the stream's position.
  virtual void SaveToStream(TStream& Stream) const;
  /// Reads settings written by SaveToStream and applies them to this component.
  /// EReadError for malformed data (the component is then left unchanged).
  virtual void LoadFromStream(TStream& Stream);
  virtual void SaveToFile(const std::string& FileName) const;
  virtual void LoadFromFile(const std::string& FileName);

  /// Copies Source's settings with block assignment on (links are left alone).
  virtual void AssignTemplate(const TKvxComponent& Source);
  /// Settings without links and without what AllowStreaming excludes.
  virtual void SaveTemplateToStream(TStream& Stream);
  /// Applies a template; links are left as they are.
  virtual void LoadTemplateFromStream(TStream& Stream);
  virtual void SaveTemplateToFile(const std::string& FileName);
  virtual void LoadTemplateFromFile(const std::string& FileName);

private:
  void WriteSettings(TStream& Stream, bool Template) const;
  void ReadSettings(TStream& Stream, bool Template);

  bool blockAssign_ = false;
  bool displayEvents_ = true;
};

/// Sets a component's block assignment for the lifetime of the guard, then restores it.
class TBlockAssignGuard {
public:
  TBlockAssignGuard(TKvxComponent& Component, bool Value);
  ~TBlockAssignGuard();
  TBlockAssignGuard(const TBlockAssignGuard&) = delete;
  TBlockAssignGuard& operator=(const TBlockAssignGuard&) = delete;

private:
  TKvxComponent& component_;
  bool old_;
};

}  // namespace ondrix
