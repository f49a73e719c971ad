#include "ondrix/FileSignal/FileFormat.h"

#include <array>
#include <cctype>
#include <filesystem>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

const std::string SignalDialogFilter =
    "Binary multi precision records (*.dat)|*.dat|Multi record ASCII (*.sgl)|*.sgl|Binary single precision "
    "records (*.bin)|*.bin|Binary double precision records (*.dbn)|*.dbn|Single column ASCII (*.sfs)|*.sfs|Two "
    "column ASCII (*.asc)|*.asc|Windows PCM (*.wav)|*.wav|All files (*.*)|*.*";

namespace {

struct TFormatEntry {
  const char* Extension;
  const char* Description;
};

constexpr std::array<TFormatEntry, 7> kFormats = {{{".dat", "Binary DAT"},
                                                   {".sgl", "Text SGL"},
                                                   {".bin", "Binary BIN"},
                                                   {".wav", ""},
                                                   {".sfs", "Text SFS"},
                                                   {".asc", "Text ASC"},
                                                   {".dbn", "Binary DBN"}}};

const TFormatEntry& Entry(TFileFormat Format) {
  const auto i = static_cast<std::size_t>(Format);
  if (i >= kFormats.size()) ERaise("Unknown file format ordinal: " + std::to_string(i));
  return kFormats[i];
}

}  // namespace

const char* FileFormatExtension(TFileFormat Format) { return Entry(Format).Extension; }
const char* FileFormatDescription(TFileFormat Format) { return Entry(Format).Description; }

TFileFormat FileFormatFromExtension(const std::string& Extension) {
  for (std::size_t i = 0; i < kFormats.size(); ++i)
    if (Extension == kFormats[i].Extension) return static_cast<TFileFormat>(i);
  ERaise("Unknown file file format extension: " + Extension);
}

std::string LowerExtension(const std::string& FileName) {
  std::string ext = std::filesystem::path(FileName).extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

}  // namespace ondrix
