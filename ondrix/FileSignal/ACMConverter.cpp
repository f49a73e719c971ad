// The codec layer: integer PCM and float are copied, extensible data passes through without a
// stream, and every other wave format tag is decoded by libavcodec into interleaved 16-bit PCM.
#include "ondrix/FileSignal/ACMConverter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "ondrix/vec/exceptions.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
#include <libavutil/samplefmt.h>
}

namespace ondrix {

namespace {

// No block or buffer exceeds 16 MiB: the record's fields and the caller's requests are
// untrusted, and a reader needs blocks of a few thousand values, never megabytes.
constexpr std::int64_t kMaxBlockBytes = std::int64_t{16} << 20;
// libavcodec's own limit.
constexpr int kMaxCodecChannels = 512;
// Above every audio codec's rate; keeps the 16-bit target's byte rate within 32 bits.
constexpr std::uint32_t kMaxCodecRate = 4'000'000;
// A request that cannot be met exactly falls back to blocks of at least this many bytes.
constexpr std::int64_t kMinFallbackBlock = 4096;
// The parser reads past its input, so the source buffer keeps zeroed padding behind the data.
constexpr std::size_t kPadding = AV_INPUT_BUFFER_PADDING_SIZE;
// A layer-3 frame decodes to at most 24 samples per byte (576 samples in 24 bytes at 8 kbit/s
// and 24 kHz); the parser holds back at most one incomplete frame (2881 bytes at 640 kbit/s and
// 32 kHz). That bounds what one block can decode to.
constexpr std::int64_t kMp3SamplesPerByte = 24, kMp3MaxHeld = 2881;
// Other variable-frame codecs and blocks of unknown duration have no such bound: these are
// guesses, and Convert grows the destination when a block decodes to more.
constexpr std::int64_t kGuessSamplesPerByte = 24, kGuessMaxHeld = 8192, kGuessBlockSamples = 8192;

const char* const kInvalidParameter = "At least one parameter is invalid.";
const char* const kOverLimit = "A block would exceed the 16 MiB limit.";

std::string Hex4(unsigned v) {
  char b[16];
  std::snprintf(b, sizeof b, "0x%04X", v);
  return b;
}

std::string AvError(int r) {
  char b[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(r, b, sizeof b);
  return b;
}

AVCodecID CodecIdOf(std::uint16_t tag) {
  const AVCodecTag* const tables[] = {avformat_get_riff_audio_tags(), nullptr};
  return av_codec_get_id(tables, tag);
}

std::string NoDecoder(std::uint16_t tag) { return "No codec decodes wave format tag " + Hex4(tag) + "."; }

// Empty when the record can describe data, the reason otherwise.
std::string CheckRecord(const TACMWaveFormat& f) {
  if (f.Channels() == 0) return "The wave format has no channels.";
  if (f.BlockAlign() == 0) return "The wave format has no block alignment.";
  if (f.IsPlain()) return f.BitsPerSample() == 0 ? "The wave format has no bits per sample." : "";
  if (f.Channels() > kMaxCodecChannels)
    return "The codec layer decodes at most " + std::to_string(kMaxCodecChannels) + " channels.";
  if (f.SamplesPerSec() == 0 || f.SamplesPerSec() > kMaxCodecRate)
    return "The sample rate of " + std::to_string(f.SamplesPerSec()) + " Hz is out of range.";
  return {};
}

// The target a source converts to (the source itself when plain), or the reason there is none.
std::string SuggestFor(const TACMWaveFormat& src, TACMWaveFormat& dst) {
  if (auto e = CheckRecord(src); !e.empty()) return e;
  if (src.IsPlain()) {
    dst = src;
    return {};
  }
  const AVCodecID id = CodecIdOf(src.FormatTag());
  if (id == AV_CODEC_ID_NONE || !avcodec_find_decoder(id)) return NoDecoder(src.FormatTag());
  const std::uint16_t ch = src.Channels();
  dst = TACMWaveFormat{};
  dst.SetFormatTag(WAVE_FORMAT_PCM);
  dst.SetChannels(ch);
  dst.SetSamplesPerSec(src.SamplesPerSec());
  dst.SetBlockAlign(static_cast<std::uint16_t>(2 * ch));
  dst.SetAvgBytesPerSec(src.SamplesPerSec() * 2u * ch);
  dst.SetBitsPerSample(16);
  return {};
}

// The fields a conversion must match (the average byte rate and extras do not matter).
bool SameAudio(const TACMWaveFormat& a, const TACMWaveFormat& b) {
  return a.FormatTag() == b.FormatTag() && a.Channels() == b.Channels() && a.SamplesPerSec() == b.SamplesPerSec() &&
         a.BlockAlign() == b.BlockAlign() && a.BitsPerSample() == b.BitsPerSample();
}

std::int16_t FromFloat(double v) {
  const double s = v * 32768.0;
  if (s >= 32767.0) return 32767;
  if (s <= -32768.0) return -32768;
  if (std::isnan(s)) return 0;
  return static_cast<std::int16_t>(std::lrint(s));
}

// Writes the frame's samples of type T as interleaved little-endian 16-bit values.
template <class T, class F>
void Interleave(const AVFrame& f, int ch, std::uint8_t* out, F convert) {
  const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(f.format));
  const std::size_t stride = planar ? sizeof(T) : ch * sizeof(T);
  for (int c = 0; c < ch; ++c) {
    const std::uint8_t* p = planar ? f.extended_data[c] : f.extended_data[0] + c * sizeof(T);
    std::uint8_t* o = out + 2 * c;
    for (int i = 0; i < f.nb_samples; ++i, p += stride, o += 2 * ch) {
      T v;
      std::memcpy(&v, p, sizeof v);
      const auto s = static_cast<std::uint16_t>(convert(v));
      o[0] = static_cast<std::uint8_t>(s);
      o[1] = static_cast<std::uint8_t>(s >> 8);
    }
  }
}

bool WriteS16(const AVFrame& f, int ch, std::uint8_t* out) {
  switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(f.format))) {
    case AV_SAMPLE_FMT_U8:
      Interleave<std::uint8_t>(f, ch, out, [](std::uint8_t v) { return (v - 128) * 256; });
      return true;
    case AV_SAMPLE_FMT_S16:
      Interleave<std::int16_t>(f, ch, out, [](std::int16_t v) { return v; });
      return true;
    case AV_SAMPLE_FMT_S32:
      Interleave<std::int32_t>(f, ch, out, [](std::int32_t v) { return v >> 16; });
      return true;
    case AV_SAMPLE_FMT_S64:
      Interleave<std::int64_t>(f, ch, out, [](std::int64_t v) { return v >> 48; });
      return true;
    case AV_SAMPLE_FMT_FLT:
      Interleave<float>(f, ch, out, [](float v) { return FromFloat(v); });
      return true;
    case AV_SAMPLE_FMT_DBL:
      Interleave<double>(f, ch, out, [](double v) { return FromFloat(v); });
      return true;
    default:
      return false;
  }
}

}  // namespace

/// The open stream. Block codecs get one packet per block; PCM-like codecs one packet of whole
/// sample frames; codecs with variable frames go through libavcodec's parser, which keeps an
/// incomplete frame for the next block.
struct TACMConverter::TCodec {
  enum TKind { kIdentity, kSamples, kBlocks, kParsed };

  TKind Kind = kIdentity;
  AVCodecID Id = AV_CODEC_ID_NONE;
  AVCodecContext* Ctx = nullptr;
  AVCodecParserContext* Parser = nullptr;
  AVPacket* Pkt = nullptr;
  AVFrame* Frame = nullptr;
  int Channels = 0, SampleRate = 0;
  // Bytes of one packet unit: a sample of every channel (kSamples) or a block (kBlocks).
  std::int64_t InBytes = 0;
  // Samples per channel in a block (kBlocks); 0 when the codec does not say.
  std::int64_t BlockSamples = 0;

  TCodec() = default;
  TCodec(const TCodec&) = delete;
  TCodec& operator=(const TCodec&) = delete;
  ~TCodec() {
    av_parser_close(Parser);
    av_frame_free(&Frame);
    av_packet_free(&Pkt);
    avcodec_free_context(&Ctx);
  }

  std::string Open(const TACMWaveFormat& src);
  std::int64_t Size(std::int64_t bytes) const;
  std::string Decode(const std::uint8_t* in, std::int64_t n, std::vector<std::uint8_t>& dst, std::size_t& out);

private:
  std::string Send(const std::uint8_t* data, std::int64_t size, std::vector<std::uint8_t>& dst, std::size_t& out);
  std::string Append(std::vector<std::uint8_t>& dst, std::size_t& out);
};

std::string TACMConverter::TCodec::Open(const TACMWaveFormat& src) {
  Channels = src.Channels();
  SampleRate = static_cast<int>(src.SamplesPerSec());
  if (src.IsPlain()) return {};
  Id = CodecIdOf(src.FormatTag());
  const AVCodec* codec = Id == AV_CODEC_ID_NONE ? nullptr : avcodec_find_decoder(Id);
  if (!codec) return NoDecoder(src.FormatTag());
  Ctx = avcodec_alloc_context3(codec);
  Pkt = av_packet_alloc();
  Frame = av_frame_alloc();
  if (!Ctx || !Pkt || !Frame) return "Out of memory.";
  const int ba = src.BlockAlign(), ch = Channels;
  Ctx->sample_rate = SampleRate;
  av_channel_layout_default(&Ctx->ch_layout, ch);
  Ctx->block_align = ba;
  Ctx->bits_per_coded_sample = src.BitsPerSample();
  Ctx->bit_rate = static_cast<std::int64_t>(src.AvgBytesPerSec()) * 8;
  Ctx->thread_count = 1;  // frame threads would hold output back behind its block
  const int extra = std::min<int>(src.CbSize(), TACMWaveFormat::kSize - 18);
  if (extra > 0) {
    Ctx->extradata = static_cast<std::uint8_t*>(av_mallocz(extra + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!Ctx->extradata) return "Out of memory.";
    std::memcpy(Ctx->extradata, src.Bytes.data() + 18, extra);
    Ctx->extradata_size = extra;
  }
  if (const int r = avcodec_open2(Ctx, codec, nullptr); r < 0) return "The decoder refuses the format: " + AvError(r);
  if (Ctx->ch_layout.nb_channels != ch || Ctx->sample_rate != SampleRate)
    return "The decoder does not decode " + std::to_string(ch) + " channels at " + std::to_string(SampleRate) + " Hz.";

  Kind = kBlocks;
  InBytes = ba;
  const char* tooSmall = "The block alignment is too small for the channel count.";
  switch (Id) {
    case AV_CODEC_ID_ADPCM_IMA_WAV:  // a 4-byte header per channel, then groups of 4 bytes = 8 samples
      if (src.BitsPerSample() == 4) {
        if (ba < 4 * ch) return tooSmall;
        BlockSamples = (ba - 4 * ch) / (4 * ch) * 8 + 1;
      }
      break;
    case AV_CODEC_ID_ADPCM_MS:  // a 7-byte header per channel holding 2 samples, then 2 per byte
      if (ba < 7 * ch) return tooSmall;
      BlockSamples = (ba - 7 * ch) * 2 / ch + 2;
      break;
    case AV_CODEC_ID_GSM_MS:  // two 160-sample frames per block (the decoder checks the size)
      BlockSamples = 320;
      break;
    default:
      break;
  }
  if (BlockSamples > 0) return {};
  if (Id >= AV_CODEC_ID_PCM_S16LE && Id < AV_CODEC_ID_ADPCM_IMA_QT) {
    const int bits = av_get_bits_per_sample(Id);
    if (bits > 0 && bits % 8 == 0) {
      Kind = kSamples;
      InBytes = static_cast<std::int64_t>(ch) * bits / 8;
      return {};
    }
  }
  if ((Parser = av_parser_init(Id))) {
    Kind = kParsed;
    return {};
  }
  BlockSamples = av_get_audio_frame_duration(Ctx, ba);
  if (BlockSamples <= 0) BlockSamples = 0;
  return {};
}

std::int64_t TACMConverter::TCodec::Size(std::int64_t bytes) const {
  const std::int64_t frame = 2 * static_cast<std::int64_t>(Channels);
  switch (Kind) {
    case kIdentity:
      return bytes;
    case kSamples:
      return bytes / InBytes * frame;
    case kBlocks:
      return bytes / InBytes * (BlockSamples > 0 ? BlockSamples : kGuessBlockSamples) * frame;
    case kParsed:
      return Id == AV_CODEC_ID_MP3 ? (bytes + kMp3MaxHeld) * kMp3SamplesPerByte * frame
                                   : (bytes + kGuessMaxHeld) * kGuessSamplesPerByte * frame;
  }
  return 0;
}

std::string TACMConverter::TCodec::Decode(const std::uint8_t* in, std::int64_t n, std::vector<std::uint8_t>& dst,
                                          std::size_t& out) {
  switch (Kind) {
    case kIdentity:
      return "No decoder is open.";
    case kSamples: {
      const std::int64_t whole = n / InBytes * InBytes;
      return whole > 0 ? Send(in, whole, dst, out) : std::string();
    }
    case kBlocks:
      // A trailing partial block (a truncated file) has no defined decoding and is dropped.
      for (std::int64_t p = 0; p + InBytes <= n; p += InBytes)
        if (auto e = Send(in + p, InBytes, dst, out); !e.empty()) return e;
      return {};
    case kParsed:
      if (!Parser) return "Out of memory.";
      while (n > 0) {
        std::uint8_t* packet = nullptr;
        int size = 0;
        const int used = av_parser_parse2(Parser, Ctx, &packet, &size, in, static_cast<int>(n), AV_NOPTS_VALUE,
                                          AV_NOPTS_VALUE, 0);
        if (used < 0) return "The parser fails: " + AvError(used);
        in += used;
        n -= used;
        if (size > 0) {
          if (auto e = Send(packet, size, dst, out); !e.empty()) return e;
        } else if (used == 0) {
          break;
        }
      }
      return {};
  }
  return {};
}

std::string TACMConverter::TCodec::Send(const std::uint8_t* data, std::int64_t size, std::vector<std::uint8_t>& dst,
                                        std::size_t& out) {
  // Not reference counted: libavcodec copies the bytes (with its padding) before decoding.
  Pkt->data = const_cast<std::uint8_t*>(data);
  Pkt->size = static_cast<int>(size);
  int r = avcodec_send_packet(Ctx, Pkt);
  Pkt->data = nullptr;
  Pkt->size = 0;
  if (r < 0) return "The decoder rejects the data: " + AvError(r);
  while ((r = avcodec_receive_frame(Ctx, Frame)) >= 0) {
    std::string e = Append(dst, out);
    av_frame_unref(Frame);
    if (!e.empty()) return e;
  }
  return r == AVERROR(EAGAIN) ? std::string() : "The decoder fails: " + AvError(r);
}

std::string TACMConverter::TCodec::Append(std::vector<std::uint8_t>& dst, std::size_t& out) {
  const AVFrame& f = *Frame;
  if (f.ch_layout.nb_channels != Channels || f.sample_rate != SampleRate)
    return "The data holds " + std::to_string(f.ch_layout.nb_channels) + " channels at " +
           std::to_string(f.sample_rate) + " Hz, the format says " + std::to_string(Channels) + " at " +
           std::to_string(SampleRate) + ".";
  const std::size_t bytes = static_cast<std::size_t>(f.nb_samples) * Channels * 2;
  if (out + bytes > dst.size()) {
    // Only codecs without a known bound get here (see kGuessBlockSamples).
    if (out + bytes > static_cast<std::size_t>(kMaxBlockBytes)) return "A block decodes to more than 16 MiB.";
    dst.resize(std::min<std::size_t>(std::max(out + bytes, 2 * dst.size()), kMaxBlockBytes));
  }
  if (!WriteS16(f, Channels, dst.data() + out))
    return std::string("The decoder's sample format ") + av_get_sample_fmt_name(static_cast<AVSampleFormat>(f.format)) +
           " is not supported.";
  out += bytes;
  return {};
}

TACMConverter::TACMConverter() = default;

TACMConverter::~TACMConverter() { StreamClose(); }

void TACMConverter::Fail(const std::string& Reason, const char* Message) {
  errorStr_ = Reason;
  throw Exception(Message);
}

void TACMConverter::SuggestPCMFormat() {
  TACMWaveFormat target;
  if (auto e = SuggestFor(src_, target); !e.empty()) Fail(e, "Error calling acmFormatSuggest!");
  dst_ = target;
}

bool TACMConverter::SuggestFormat(bool Tag, bool Channels, bool SampleRate, bool Bits) {
  TACMWaveFormat target;
  if (auto e = SuggestFor(src_, target); !e.empty()) {
    errorStr_ = e;
    return false;
  }
  // The codec layer produces one target per source: a fixed field must already match it.
  if ((Tag && dst_.FormatTag() != target.FormatTag()) || (Channels && dst_.Channels() != target.Channels()) ||
      (SampleRate && dst_.SamplesPerSec() != target.SamplesPerSec()) ||
      (Bits && dst_.BitsPerSample() != target.BitsPerSample())) {
    errorStr_ = "The codec layer cannot produce the requested format.";
    return false;
  }
  dst_ = target;
  return true;
}

void TACMConverter::InitializeStream() {
  if (codec_ && (streamSrc_ != src_ || streamDst_ != dst_)) StreamClose();
  if (codec_ || src_.IsExtensible()) return;
  TACMWaveFormat target;
  std::string e = SuggestFor(src_, target);
  if (e.empty() && !SameAudio(target, dst_)) e = "The target format cannot be produced from the source.";
  auto codec = std::make_unique<TCodec>();
  if (e.empty()) e = codec->Open(src_);
  if (!e.empty()) Fail(e, "Error opening acm stream!");
  codec_ = std::move(codec);
  streamSrc_ = src_;
  streamDst_ = dst_;
  headerPrepared_ = false;  // the destination's size depends on the stream
}

void TACMConverter::InitializeHeader() {
  if (headerPrepared_) return;
  InitializeStream();
  if (srcByteCount_ <= 0 || dstByteCount_ <= 0) Fail(kInvalidParameter, "Error preparing acm header!");
  ResizeBuffers();
  headerPrepared_ = true;
}

void TACMConverter::Initialize() {
  InitializeStream();
  InitializeHeader();
}

std::int64_t TACMConverter::StreamSize(std::int64_t SrcBytes) const {
  return codec_ ? codec_->Size(SrcBytes) : SrcBytes;
}

void TACMConverter::ResizeBuffers() {
  // The destination holds whatever the source block can decode to, not only DstByteCount.
  const std::int64_t decoded = std::max<std::int64_t>({dstByteCount_, srcByteCount_, StreamSize(srcByteCount_)});
  srcBuffer_.resize(static_cast<std::size_t>(srcByteCount_) + kPadding);
  dstBuffer_.resize(static_cast<std::size_t>(std::min(decoded, kMaxBlockBytes)));
}

bool TACMConverter::SuggestSampleCount(int n) {
  const char* problem = "Problem with acmStreamSize!";
  if (n == -1) n = 1024;
  if (n <= 0) Fail(kInvalidParameter, problem);
  const std::int64_t s = static_cast<std::int64_t>(n) * src_.BitsPerSample() / 8;
  const std::int64_t d = static_cast<std::int64_t>(n) * dst_.BitsPerSample() / 8;
  if (src_.IsExtensible()) {
    if (auto e = CheckRecord(src_); !e.empty()) Fail(e, problem);
    const std::int64_t block =
        std::llround(std::max<double>(src_.BlockAlign(), static_cast<double>(n) * src_.BitsPerSample() / 8.0));
    if (block > kMaxBlockBytes || d > kMaxBlockBytes) Fail(kOverLimit, problem);
    SetSrcByteCount(static_cast<int>(block));
    SetDstByteCount(static_cast<int>(d));
    return true;
  }
  InitializeStream();
  if (s > 0 && s <= kMaxBlockBytes && d <= kMaxBlockBytes && StreamSize(s) == d) {
    SetSrcByteCount(static_cast<int>(s));
    SetDstByteCount(static_cast<int>(d));
    return true;
  }
  std::int64_t block = src_.BlockAlign();  // not 0: the stream would not have opened
  while (block < kMinFallbackBlock) block *= 2;
  const std::int64_t size = StreamSize(block);
  if (size <= 0) Fail("The stream has no decoded size for a block of " + std::to_string(block) + " bytes.", problem);
  if (size > kMaxBlockBytes) Fail(kOverLimit, problem);
  SetSrcByteCount(static_cast<int>(block));
  SetDstByteCount(static_cast<int>(size));
  return false;
}

void TACMConverter::SetSrcByteCount(int Value) {
  if (Value == srcByteCount_) return;
  if (Value < 0 || Value > kMaxBlockBytes) Fail(kInvalidParameter, "Error preparing acm header!");
  srcByteCount_ = Value;
  HeaderClose();
  ResizeBuffers();
}

void TACMConverter::SetDstByteCount(int Value) {
  if (Value == dstByteCount_) return;
  if (Value < 0 || Value > kMaxBlockBytes) Fail(kInvalidParameter, "Error preparing acm header!");
  dstByteCount_ = Value;
  HeaderClose();
  ResizeBuffers();
}

void TACMConverter::Convert() {
  const bool extensible = src_.IsExtensible();
  if (!extensible) Initialize();
  if (initialByteCount_ > srcByteCount_) throw Exception("FinitialByteCount > FSrcByteCount");
  if (initialByteCount_ < 0) Fail(kInvalidParameter, "Error converting with acm!");
  finalByteCount_ = 0;
  if (extensible || codec_->Kind == TCodec::kIdentity) {
    // The destination is never smaller than the source block (ResizeBuffers).
    if (initialByteCount_ > 0) std::memcpy(dstBuffer_.data(), srcBuffer_.data(), initialByteCount_);
    finalByteCount_ = initialByteCount_;
    return;
  }
  std::memset(srcBuffer_.data() + initialByteCount_, 0, kPadding);
  std::size_t out = 0;
  if (auto e = codec_->Decode(srcBuffer_.data(), initialByteCount_, dstBuffer_, out); !e.empty())
    Fail(e, "Error converting with acm!");
  finalByteCount_ = static_cast<int>(out);
}

int TACMConverter::GetFinalByteCount() const noexcept {
  return src_.IsExtensible() ? initialByteCount_ : finalByteCount_;
}

void TACMConverter::Reset() {
  finalByteCount_ = 0;
  if (!codec_ || !codec_->Ctx) return;
  avcodec_flush_buffers(codec_->Ctx);
  if (codec_->Parser) {
    // The parser has no flush: a new one forgets the incomplete frame it held.
    av_parser_close(codec_->Parser);
    codec_->Parser = av_parser_init(codec_->Id);
  }
}

void TACMConverter::HeaderClose() { headerPrepared_ = false; }

void TACMConverter::StreamClose() {
  HeaderClose();
  codec_.reset();
}

std::string TACMConverter::FormatTagDescription(const TACMWaveFormat& Format) {
  switch (Format.FormatTag()) {
    case WAVE_FORMAT_EXTENSIBLE: return "Extended format";
    case WAVE_FORMAT_PCM: return "PCM";
    case WAVE_FORMAT_IEEE_FLOAT: return "IEEE Float";
    case WAVE_FORMAT_IMA_ADPCM: return "IMA ADPCM";
    case WAVE_FORMAT_ADPCM: return "Microsoft ADPCM";
    case WAVE_FORMAT_GSM610: return "GSM 6.10";
    case WAVE_FORMAT_MULAW: return "CCITT u-Law";
    case WAVE_FORMAT_ALAW: return "CCITT A-Law";
    case WAVE_FORMAT_MPEGLAYER3: return "MPEG Layer-3";
    default: break;
  }
  const AVCodecID id = CodecIdOf(Format.FormatTag());
  if (const AVCodecDescriptor* d = id == AV_CODEC_ID_NONE ? nullptr : avcodec_descriptor_get(id); d && d->long_name)
    return d->long_name;
  return "Unknown format tag " + Hex4(Format.FormatTag());
}

std::string TACMConverter::FormatDescription(const TACMWaveFormat& Format) {
  const std::string rate = std::to_string(Format.SamplesPerSec()) + "Hz, ";
  const std::string bits = std::to_string(Format.BitsPerSample()) + "bit, ";
  const std::string channels = std::to_string(Format.Channels()) + "ch";
  if (Format.IsExtensible()) return rate + bits + channels + " ";
  // Codecs without a sample size (GSM, MPEG) write 0 bits.
  return FormatTagDescription(Format) + ", " + rate + (Format.BitsPerSample() ? bits : "") + channels;
}

}  // namespace ondrix
