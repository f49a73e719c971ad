// The signal file formats: their ordinals, extensions and descriptions, and the open-file
// dialog filter.
#pragma once

#include <string>

namespace ondrix {

/// Format of a signal file. Stored by ordinal, so the order is fixed.
enum TFileFormat {
  ffDat = 0,  ///< ".dat": binary records, any precision, channels, real or complex
  ffSgl = 1,  ///< ".sgl": text, three lines per record
  ffBin = 2,  ///< ".bin": binary records of 4-byte floats, one channel
  ffWav = 3,  ///< ".wav": RIFF wave, one record
  ffSfs = 4,  ///< ".sfs": text, one value per line, one record
  ffAsc = 5,  ///< ".asc": text, time and value per line, one record
  ffDbn = 6   ///< ".dbn": binary records of 8-byte floats, one channel
};

/// The open-file dialog filter of the signal file formats (pairs of description and pattern,
/// separated by "|").
extern const std::string SignalDialogFilter;

/// ".dat", ".sgl", ... for a format.
const char* FileFormatExtension(TFileFormat Format);
/// "Binary DAT", "Text SGL", ...; "" for ffWav, whose description comes from its codec.
const char* FileFormatDescription(TFileFormat Format);
/// The format of a lower-case extension with its dot; raises "Unknown file file format
/// extension: <ext>" for any other.
TFileFormat FileFormatFromExtension(const std::string& Extension);
/// The lower-cased extension of a file name, dot included ("" when there is none).
std::string LowerExtension(const std::string& FileName);

}  // namespace ondrix
