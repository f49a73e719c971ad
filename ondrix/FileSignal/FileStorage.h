// TFileStorage: what the file reader and writer share — the file name and format, and the
// open file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ondrix/FileSignal/FileFormat.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/framework/TStringList.h"

namespace ondrix {

class TFileStream;
class TRiffFile;

/// A signal backed by a file: its name, its format (from the extension when AutoFileFormat
/// is set), and the open file — a stream for the binary formats, a RIFF file for wave, the
/// lines of the text formats.
class TFileStorage : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  explicit TFileStorage(TComponent* AOwner);
  ~TFileStorage() override;

  const std::string& FileName() const noexcept { return fileName_; }
  /// A different name closes an open file first; with AutoFileFormat the lower-cased
  /// extension picks the format ("Unknown file file format extension: <ext>" otherwise).
  void SetFileName(const std::string& Value);
  TFileFormat FileFormat() const noexcept { return fileFormat_; }
  void SetFileFormat(TFileFormat Value) noexcept { fileFormat_ = Value; }
  bool AutoFileFormat() const noexcept { return autoFileFormat_; }
  void SetAutoFileFormat(bool Value) noexcept { autoFileFormat_ = Value; }

  bool FileIsOpen() const noexcept { return fileOpen_; }
  /// Bytes of the open file (0 when closed).
  std::int64_t FileSize() const noexcept { return fileSize_; }

  virtual void OpenFile() {}
  virtual void CloseFile() {}

protected:
  void SetFileIsOpen(bool Value) noexcept { fileOpen_ = Value; }

  std::unique_ptr<TFileStream> fileStream_;  // binary formats
  std::unique_ptr<TRiffFile> riff_;          // wave
  TStringList strings_;                      // text formats
  std::int64_t fileSize_ = 0;

private:
  std::string fileName_;
  TFileFormat fileFormat_ = ffDat;
  bool autoFileFormat_ = true;
  bool fileOpen_ = false;
};

}  // namespace ondrix
