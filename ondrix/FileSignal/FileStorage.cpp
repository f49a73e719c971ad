#include "ondrix/FileSignal/FileStorage.h"

#include "ondrix/FileSignal/Riff.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStream.h"

namespace ondrix {

const TClassInfo& TFileStorage::StaticClassInfo() {
  // The format comes before the name, so that loading a name does not undo a stored format.
  static const TClassInfo info =
      TClassBuilder<TFileStorage, TSignal>("TFileStorage")
          .Prop("AutoFileFormat", &TFileStorage::AutoFileFormat, &TFileStorage::SetAutoFileFormat, true)
          .Enum("FileFormat", &TFileStorage::FileFormat, &TFileStorage::SetFileFormat,
                {"ffDat", "ffSgl", "ffBin", "ffWav", "ffSfs", "ffAsc", "ffDbn"}, ffDat)
          .Prop("FileName", &TFileStorage::FileName, &TFileStorage::SetFileName, std::string())
          .Build();
  return info;
}

TFileStorage::TFileStorage(TComponent* AOwner) : TSignal(AOwner) {}

TFileStorage::~TFileStorage() { BeginDestroy(); }

void TFileStorage::SetFileName(const std::string& Value) {
  if (Value == fileName_) return;
  if (fileOpen_) CloseFile();
  if (autoFileFormat_ && !Value.empty()) fileFormat_ = FileFormatFromExtension(LowerExtension(Value));
  fileOpen_ = false;
  fileName_ = Value;
}

}  // namespace ondrix
