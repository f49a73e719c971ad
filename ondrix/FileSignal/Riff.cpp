#include "ondrix/FileSignal/Riff.h"

#include <algorithm>

#include "ondrix/framework/TStream.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

namespace {

constexpr std::uint32_t kRiff = FourCC("RIFF");
constexpr std::uint32_t kList = FourCC("LIST");

bool HasFormType(std::uint32_t Id) { return Id == kRiff || Id == kList; }

std::uint32_t LoadU32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
         (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

void StoreU32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

}  // namespace

TRiffFile::TRiffFile(const std::string& FileName, TMode Mode)
    : stream_(std::make_unique<TFileStream>(FileName, Mode == rmCreate ? fmCreate : fmOpenRead)) {}

TRiffFile::~TRiffFile() = default;

bool TRiffFile::Descend(TRiffChunk& Chunk, const TRiffChunk* Parent, std::uint32_t Id, std::uint32_t FormType) {
  const std::int64_t fileEnd = FileSize();
  std::int64_t end = fileEnd;
  if (Parent) end = std::min<std::int64_t>(end, Parent->DataOffset + Parent->Size);
  std::int64_t pos = Position();
  while (pos + 8 <= end) {
    std::uint8_t header[12];
    stream_->SetPosition(pos);
    if (stream_->Read(header, 8) != 8) return false;
    TRiffChunk c;
    c.Id = LoadU32(header);
    c.Size = LoadU32(header + 4);
    c.DataOffset = pos + 8;
    // A chunk larger than what holds it is corrupt; nothing after it can be trusted.
    if (c.DataOffset + c.Size > end) return false;
    if (HasFormType(c.Id)) {
      if (c.Size < 4 || stream_->Read(header + 8, 4) != 4) return false;
      c.FormType = LoadU32(header + 8);
    }
    if (c.Id == Id && (!HasFormType(Id) || FormType == 0 || c.FormType == FormType)) {
      Chunk = c;
      stream_->SetPosition(c.DataOffset + (HasFormType(c.Id) ? 4 : 0));
      return true;
    }
    pos = c.DataOffset + c.Size + (c.Size & 1);
  }
  return false;
}

void TRiffFile::Ascend(TRiffChunk& Chunk) {
  if (!Chunk.Created) {
    stream_->SetPosition(Chunk.DataOffset + Chunk.Size + (Chunk.Size & 1));
    return;
  }
  const std::int64_t end = FileSize();
  const std::int64_t size = end - Chunk.DataOffset;
  if (size > 0xFFFFFFFFLL) throw EWriteError("RIFF chunk larger than 4 GiB");
  Chunk.Size = static_cast<std::uint32_t>(size);
  if (Chunk.Size & 1) {
    const std::uint8_t pad = 0;
    stream_->SetPosition(end);
    Write(&pad, 1);
  }
  std::uint8_t size4[4];
  StoreU32(size4, Chunk.Size);
  stream_->SetPosition(Chunk.DataOffset - 4);
  Write(size4, 4);
  stream_->SetPosition(Chunk.DataOffset + Chunk.Size + (Chunk.Size & 1));
}

void TRiffFile::CreateChunk(TRiffChunk& Chunk, std::uint32_t Id, std::uint32_t FormType) {
  std::uint8_t header[12];
  StoreU32(header, Id);
  StoreU32(header + 4, 0);
  const bool form = HasFormType(Id);
  StoreU32(header + 8, FormType);
  const std::int64_t pos = Position();
  Write(header, form ? 12 : 8);
  Chunk = TRiffChunk{Id, form ? 4u : 0u, form ? FormType : 0u, pos + 8, true};
}

std::int64_t TRiffFile::Read(void* Buffer, std::int64_t Count) { return stream_->Read(Buffer, Count); }
void TRiffFile::Write(const void* Buffer, std::int64_t Count) { stream_->WriteBuffer(Buffer, Count); }
void TRiffFile::Seek(std::int64_t Position) { stream_->SetPosition(Position); }
std::int64_t TRiffFile::Position() { return stream_->Position(); }
std::int64_t TRiffFile::FileSize() { return stream_->Size(); }

}  // namespace ondrix
