#include "ondrix/framework/TKvxComponent.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/Settings.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

const TClassInfo& TKvxComponent::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TKvxComponent, TComponent>("TKvxComponent").Build();
  return info;
}

void TKvxComponent::Assign(const TPersistent& Source) {
  if (&Source == this) return;
  const auto* src = dynamic_cast<const TKvxComponent*>(&Source);
  if (src && (InheritsFrom(src->ClassInfo()) || src->InheritsFrom(ClassInfo()))) {
    AssignProperties(*this, *src, GetBlockAssign() || src->GetBlockAssign());
    return;
  }
  TComponent::Assign(Source);
}

void TKvxComponent::WriteSettings(TStream& Stream, bool Template) const {
  TSettingsOptions options;
  options.Links = !Template;
  const std::string text = SaveSettingsToJson(*this, options);
  if (text.size() > static_cast<std::size_t>(INT32_MAX)) throw EWriteError("Stream write error");
  WriteInt32LE(Stream, static_cast<std::int32_t>(text.size()));
  Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void TKvxComponent::ReadSettings(TStream& Stream, bool Template) {
  const std::int32_t n = ReadCountLE(Stream, 1, "TKvxComponent: settings length");
  std::string text(static_cast<std::size_t>(n), '\0');
  Stream.ReadBuffer(text.data(), n);
  LoadSettingsFromJson(*this, text, !Template);
}

void TKvxComponent::SaveToStream(TStream& Stream) const { WriteSettings(Stream, false); }

void TKvxComponent::LoadFromStream(TStream& Stream) { ReadSettings(Stream, false); }

void TKvxComponent::SaveToFile(const std::string& FileName) const {
  TFileStream f(FileName, fmCreate);
  SaveToStream(f);
}

void TKvxComponent::LoadFromFile(const std::string& FileName) {
  TFileStream f(FileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(f);
}

void TKvxComponent::AssignTemplate(const TKvxComponent& Source) {
  TBlockAssignGuard guard(*this, true);
  Assign(Source);
}

void TKvxComponent::SaveTemplateToStream(TStream& Stream) {
  TBlockAssignGuard guard(*this, true);
  WriteSettings(Stream, true);
}

void TKvxComponent::LoadTemplateFromStream(TStream& Stream) {
  TBlockAssignGuard guard(*this, true);
  ReadSettings(Stream, true);
}

void TKvxComponent::SaveTemplateToFile(const std::string& FileName) {
  TFileStream f(FileName, fmCreate);
  SaveTemplateToStream(f);
}

void TKvxComponent::LoadTemplateFromFile(const std::string& FileName) {
  TFileStream f(FileName, fmOpenRead | fmShareDenyWrite);
  LoadTemplateFromStream(f);
}

TBlockAssignGuard::TBlockAssignGuard(TKvxComponent& Component, bool Value)
    : component_(Component), old_(Component.GetBlockAssign()) {
  component_.SetBlockAssign(Value);
}

TBlockAssignGuard::~TBlockAssignGuard() {
  try {
    component_.SetBlockAssign(old_);
  } catch (...) {
    // A setter that fails while restoring leaves the flag as it is; nothing to report to.
  }
}

}  // namespace ondrix
