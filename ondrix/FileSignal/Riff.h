// A small RIFF chunk reader and writer over an ordinary file: descend into a chunk by id (and
// form type), ascend out of it, create chunks whose sizes are patched on ascend.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace ondrix {

class TFileStream;

/// A four-character code as stored in a file ("fmt " → 'f' in the lowest byte).
constexpr std::uint32_t FourCC(const char (&s)[5]) noexcept {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(s[0])) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(s[1])) << 8) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(s[2])) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(s[3])) << 24);
}

/// A chunk found by Descend or made by CreateChunk.
struct TRiffChunk {
  std::uint32_t Id = 0;
  /// The size field: bytes of data without the pad byte (for "RIFF" and "LIST" the form
  /// type's 4 bytes included).
  std::uint32_t Size = 0;
  /// Form type of a "RIFF" or "LIST" chunk, 0 for others.
  std::uint32_t FormType = 0;
  /// File offset of the chunk's data (of the form type, for "RIFF" and "LIST").
  std::int64_t DataOffset = 0;
  /// Created by this writer: the size is patched when the chunk is ascended.
  bool Created = false;
};

/// A RIFF file opened for reading or created for writing.
///
/// Reading: Descend scans the chunks that follow the position, within a parent chunk when one
/// is given, skipping unknown chunks and their odd-size pad bytes; a chunk whose size runs
/// past its parent (or the file) is not found. Writing: CreateChunk writes a header with a
/// zero size, Ascend writes the pad byte of an odd-sized chunk and patches the size. Every
/// number in the file is little-endian.
class TRiffFile {
public:
  enum TMode { rmRead, rmCreate };

  /// Opens or creates FileName; EFOpenError / EFCreateError when that fails.
  TRiffFile(const std::string& FileName, TMode Mode);
  ~TRiffFile();
  TRiffFile(const TRiffFile&) = delete;
  TRiffFile& operator=(const TRiffFile&) = delete;

  /// Finds the next chunk Id (for "RIFF" and "LIST", of form type FormType) from the current
  /// position to the end of Parent (or of the file) and positions at its data (after the form
  /// type). False, with the position undefined, when there is none.
  bool Descend(TRiffChunk& Chunk, const TRiffChunk* Parent, std::uint32_t Id, std::uint32_t FormType = 0);
  /// Reading: moves past the chunk's data and pad byte. Writing a created chunk: pads it to
  /// an even size, patches its size field, and moves to its end.
  void Ascend(TRiffChunk& Chunk);
  /// Writes the header of a new chunk (and the form type of "RIFF" and "LIST") at the
  /// position; Chunk then describes it.
  void CreateChunk(TRiffChunk& Chunk, std::uint32_t Id, std::uint32_t FormType = 0);

  /// Reads up to Count bytes; the number read.
  std::int64_t Read(void* Buffer, std::int64_t Count);
  /// Writes Count bytes; EWriteError "Stream write error" on a short write.
  void Write(const void* Buffer, std::int64_t Count);
  void Seek(std::int64_t Position);
  std::int64_t Position();
  std::int64_t FileSize();

private:
  std::unique_ptr<TFileStream> stream_;
};

}  // namespace ondrix
