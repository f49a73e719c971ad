#include "ondrix/framework/TStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

// --- TStream ---------------------------------------------------------------------------------

const TClassInfo& TStream::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TStream, TObject>("TStream").Build();
  return info;
}

std::int64_t TStream::Size() {
  const std::int64_t pos = Seek(0, soFromCurrent);
  const std::int64_t size = Seek(0, soFromEnd);
  Seek(pos, soFromBeginning);
  return size;
}

void TStream::ReadBuffer(void* Buffer, std::int64_t Count) {
  if (Count != 0 && Read(Buffer, Count) != Count) throw EReadError("Stream read error");
}

void TStream::WriteBuffer(const void* Buffer, std::int64_t Count) {
  if (Count != 0 && Write(Buffer, Count) != Count) throw EWriteError("Stream write error");
}

std::int64_t TStream::CopyFrom(TStream& Source, std::int64_t Count) {
  if (Count == 0) {
    Source.SetPosition(0);
    Count = Source.Size();
  }
  constexpr std::int64_t kChunk = 64 * 1024;
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(std::min(Count, kChunk)));
  std::int64_t left = Count;
  while (left > 0) {
    const std::int64_t n = std::min(left, kChunk);
    Source.ReadBuffer(buffer.data(), n);
    WriteBuffer(buffer.data(), n);
    left -= n;
  }
  return Count;
}

// --- TMemoryStream ---------------------------------------------------------------------------

const TClassInfo& TMemoryStream::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TMemoryStream, TStream>("TMemoryStream").Build();
  return info;
}

std::int64_t TMemoryStream::Read(void* Buffer, std::int64_t Count) {
  const std::int64_t size = Size();
  if (Count <= 0 || position_ >= size) return 0;
  const std::int64_t n = std::min(Count, size - position_);
  std::memcpy(Buffer, data_.data() + position_, static_cast<std::size_t>(n));
  position_ += n;
  return n;
}

std::int64_t TMemoryStream::Write(const void* Buffer, std::int64_t Count) {
  if (Count <= 0) return 0;
  const std::int64_t end = position_ + Count;
  if (end > Size()) data_.resize(static_cast<std::size_t>(end), 0);
  std::memcpy(data_.data() + position_, Buffer, static_cast<std::size_t>(Count));
  position_ = end;
  return Count;
}

std::int64_t TMemoryStream::Seek(std::int64_t Offset, TSeekOrigin Origin) {
  std::int64_t base = 0;
  if (Origin == soFromCurrent) base = position_;
  if (Origin == soFromEnd) base = Size();
  if (base + Offset < 0) throw EStreamError("Seek before the start of the stream");
  position_ = base + Offset;
  return position_;
}

void TMemoryStream::SetSize(std::int64_t NewSize) {
  if (NewSize < 0) throw EStreamError("Negative stream size");
  data_.resize(static_cast<std::size_t>(NewSize), 0);
  position_ = std::min(position_, NewSize);
}

void TMemoryStream::Clear() noexcept {
  data_.clear();
  position_ = 0;
}

void TMemoryStream::SaveToStream(TStream& Stream) const {
  Stream.WriteBuffer(data_.data(), static_cast<std::int64_t>(data_.size()));
}

void TMemoryStream::LoadFromStream(TStream& Stream) {
  Stream.SetPosition(0);
  const std::int64_t n = Stream.Size();
  std::vector<std::uint8_t> data(static_cast<std::size_t>(n));
  Stream.ReadBuffer(data.data(), n);
  data_ = std::move(data);
  position_ = 0;
}

void TMemoryStream::SaveToFile(const std::string& FileName) const {
  TFileStream f(FileName, fmCreate);
  SaveToStream(f);
}

void TMemoryStream::LoadFromFile(const std::string& FileName) {
  TFileStream f(FileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(f);
}

// --- TFileStream -----------------------------------------------------------------------------

const TClassInfo& TFileStream::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TFileStream, TStream>("TFileStream").Build();
  return info;
}

TFileStream::TFileStream(const std::string& FileName, unsigned Mode) : fileName_(FileName) {
  if ((Mode & fmCreate) == fmCreate) {
    fd_ = ::open(FileName.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) throw EFCreateError("Cannot create file \"" + FileName + "\"");
    return;
  }
  int flags = O_RDONLY;
  switch (Mode & 0x3u) {
    case fmOpenWrite: flags = O_WRONLY; break;
    case fmOpenReadWrite: flags = O_RDWR; break;
    default: break;
  }
  fd_ = ::open(FileName.c_str(), flags | O_CLOEXEC);
  if (fd_ < 0) throw EFOpenError("Cannot open file \"" + FileName + "\"");
}

TFileStream::~TFileStream() {
  if (fd_ >= 0) ::close(fd_);
}

std::int64_t TFileStream::Read(void* Buffer, std::int64_t Count) {
  std::int64_t done = 0;
  auto* p = static_cast<std::uint8_t*>(Buffer);
  while (done < Count) {
    const ssize_t n = ::read(fd_, p + done, static_cast<std::size_t>(Count - done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += n;
  }
  return done;
}

std::int64_t TFileStream::Write(const void* Buffer, std::int64_t Count) {
  std::int64_t done = 0;
  const auto* p = static_cast<const std::uint8_t*>(Buffer);
  while (done < Count) {
    const ssize_t n = ::write(fd_, p + done, static_cast<std::size_t>(Count - done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += n;
  }
  return done;
}

std::int64_t TFileStream::Seek(std::int64_t Offset, TSeekOrigin Origin) {
  const int whence = Origin == soFromBeginning ? SEEK_SET : Origin == soFromCurrent ? SEEK_CUR : SEEK_END;
  const off_t pos = ::lseek(fd_, static_cast<off_t>(Offset), whence);
  if (pos < 0) throw EStreamError("Seek before the start of the stream");
  return static_cast<std::int64_t>(pos);
}

void TFileStream::SetSize(std::int64_t NewSize) {
  if (NewSize < 0 || ::ftruncate(fd_, static_cast<off_t>(NewSize)) != 0) {
    throw EStreamError("Cannot set the size of file \"" + fileName_ + "\"");
  }
  if (Position() > NewSize) SetPosition(NewSize);
}

// --- helpers ---------------------------------------------------------------------------------

namespace {
template <class T>
T ToLittleEndian(T v) {
  if constexpr (std::endian::native == std::endian::little) {
    return v;
  } else {
    auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof(T)>>(v);
    std::reverse(bytes.begin(), bytes.end());
    return std::bit_cast<T>(bytes);
  }
}
}  // namespace

void WriteInt32LE(TStream& Stream, std::int32_t Value) {
  const std::int32_t v = ToLittleEndian(Value);
  Stream.WriteBuffer(&v, sizeof v);
}

std::int32_t ReadInt32LE(TStream& Stream) {
  std::int32_t v = 0;
  Stream.ReadBuffer(&v, sizeof v);
  return ToLittleEndian(v);
}

void WriteDoubleLE(TStream& Stream, double Value) {
  const double v = ToLittleEndian(Value);
  Stream.WriteBuffer(&v, sizeof v);
}

double ReadDoubleLE(TStream& Stream) {
  double v = 0;
  Stream.ReadBuffer(&v, sizeof v);
  return ToLittleEndian(v);
}

std::int32_t CheckCount(TStream& Stream, std::int64_t Count, std::int64_t ElementSize, const char* What,
                        std::int64_t Slack) {
  const std::int64_t left = std::max<std::int64_t>(Stream.Size() - Stream.Position(), 0);
  // Divided, not multiplied: Count × ElementSize of a hostile count may overflow.
  if (Count < 0 || Count > INT32_MAX || Count > (left + Slack) / std::max<std::int64_t>(ElementSize, 1)) {
    throw EReadError(std::string(What) + " out of range");
  }
  return static_cast<std::int32_t>(Count);
}

std::int32_t ReadCountLE(TStream& Stream, std::int64_t ElementSize, const char* What) {
  return CheckCount(Stream, ReadInt32LE(Stream), ElementSize, What);
}

std::int32_t RoundToInt32(double Value, std::int32_t Min, std::int32_t Max, const char* What) {
  const double r = std::nearbyint(Value);
  // Converting a double outside the integer's range is undefined: compare first (NaN fails too).
  if (!(r >= Min && r <= Max)) throw EReadError(std::string(What) + " out of range");
  return static_cast<std::int32_t>(r);
}

bool FileExists(const std::string& FileName) {
  struct stat st {};
  return ::stat(FileName.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace ondrix
