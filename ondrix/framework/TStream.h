// Streams: the abstract TStream, the in-memory TMemoryStream, the file TFileStream, and
// little-endian helpers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ondrix/framework/TObject.h"

namespace ondrix {

/// Origin of TStream::Seek.
enum TSeekOrigin { soFromBeginning, soFromCurrent, soFromEnd };

/// A sequence of bytes with a position. Sizes and positions are in bytes.
class TStream : public TObject {
public:
  ONDRIX_CLASS_INFO()

  /// Reads up to Count bytes at the position; returns the number read (0 at the end).
  virtual std::int64_t Read(void* Buffer, std::int64_t Count) = 0;
  /// Writes Count bytes at the position (growing the stream); returns the number written.
  virtual std::int64_t Write(const void* Buffer, std::int64_t Count) = 0;
  /// Moves the position; returns the new position. EStreamError for a position before 0.
  virtual std::int64_t Seek(std::int64_t Offset, TSeekOrigin Origin) = 0;
  /// Truncates or extends (with zero bytes) the stream.
  virtual void SetSize(std::int64_t NewSize) = 0;
  virtual std::int64_t Size();

  std::int64_t Position() { return Seek(0, soFromCurrent); }
  void SetPosition(std::int64_t Pos) { Seek(Pos, soFromBeginning); }

  /// Reads exactly Count bytes; EReadError "Stream read error" on a short read.
  void ReadBuffer(void* Buffer, std::int64_t Count);
  /// Writes exactly Count bytes; EWriteError "Stream write error" on a short write.
  void WriteBuffer(const void* Buffer, std::int64_t Count);
  /// Copies Count bytes from Source's position; Count 0 copies the whole of Source from its
  /// start. Returns the number of bytes copied; EReadError if Source runs short.
  std::int64_t CopyFrom(TStream& Source, std::int64_t Count);
};

/// A stream held in memory; Memory() is its contiguous content.
class TMemoryStream : public TStream {
public:
  ONDRIX_CLASS_INFO()

  std::int64_t Read(void* Buffer, std::int64_t Count) override;
  std::int64_t Write(const void* Buffer, std::int64_t Count) override;
  std::int64_t Seek(std::int64_t Offset, TSeekOrigin Origin) override;
  void SetSize(std::int64_t NewSize) override;
  std::int64_t Size() override { return static_cast<std::int64_t>(data_.size()); }

  std::uint8_t* Memory() noexcept { return data_.data(); }
  const std::uint8_t* Memory() const noexcept { return data_.data(); }
  /// Empties the stream and rewinds it.
  void Clear() noexcept;

  /// Writes the whole content (whatever the position) to Stream.
  void SaveToStream(TStream& Stream) const;
  /// Replaces the content by the whole of Stream (read from its start); rewinds.
  void LoadFromStream(TStream& Stream);
  void SaveToFile(const std::string& FileName) const;
  void LoadFromFile(const std::string& FileName);

private:
  std::vector<std::uint8_t> data_;
  std::int64_t position_ = 0;
};

/// File open modes of TFileStream: one access mode, optionally or-ed with a share flag.
enum : unsigned {
  fmOpenRead = 0x0000,
  fmOpenWrite = 0x0001,
  fmOpenReadWrite = 0x0002,
  fmShareExclusive = 0x0010,
  fmShareDenyWrite = 0x0020,
  fmShareDenyRead = 0x0030,
  fmShareDenyNone = 0x0040,
  fmCreate = 0xFF00,  ///< create or truncate, read and write
};

/// A stream on a file. Share flags are accepted and ignored (POSIX has no share modes).
class TFileStream : public TStream {
public:
  ONDRIX_CLASS_INFO()

  /// Opens FileName. EFCreateError "Cannot create file \"<name>\"" when fmCreate fails,
  /// EFOpenError "Cannot open file \"<name>\"" when opening fails.
  TFileStream(const std::string& FileName, unsigned Mode);
  ~TFileStream() override;
  TFileStream(const TFileStream&) = delete;
  TFileStream& operator=(const TFileStream&) = delete;

  std::int64_t Read(void* Buffer, std::int64_t Count) override;
  std::int64_t Write(const void* Buffer, std::int64_t Count) override;
  std::int64_t Seek(std::int64_t Offset, TSeekOrigin Origin) override;
  void SetSize(std::int64_t NewSize) override;

  const std::string& FileName() const noexcept { return fileName_; }

private:
  std::string fileName_;
  int fd_ = -1;
};

/// Little-endian binary helpers over ReadBuffer / WriteBuffer (short transfers raise).
void WriteInt32LE(TStream& Stream, std::int32_t Value);
std::int32_t ReadInt32LE(TStream& Stream);
void WriteDoubleLE(TStream& Stream, double Value);
double ReadDoubleLE(TStream& Stream);

/// Checks a count or length taken from Stream before anything is allocated or looped over by
/// it: Count elements of ElementSize (> 0) bytes must lie within the bytes left after the
/// position; Slack bytes may be missing at the end, for formats that read a cut last record
/// as zeros. Returns Count; otherwise EReadError "<What> out of range", where What names the
/// loader and the field ("TMarkList: mark count").
std::int32_t CheckCount(TStream& Stream, std::int64_t Count, std::int64_t ElementSize, const char* What,
                        std::int64_t Slack = 0);
/// ReadInt32LE, then CheckCount.
std::int32_t ReadCountLE(TStream& Stream, std::int64_t ElementSize, const char* What);
/// Value rounded to the nearest integer (ties to even) when that lies in [Min, Max]; NaN,
/// infinities and anything outside raise EReadError "<What> out of range" before any
/// conversion.
std::int32_t RoundToInt32(double Value, std::int32_t Min, std::int32_t Max, const char* What);

/// True when a file of that name exists.
bool FileExists(const std::string& FileName);

}  // namespace ondrix
