// TACMConverter: turns the data of a wave file, in any format the codec layer knows, into PCM,
// one block of source bytes at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ondrix/FileSignal/WaveFormat.h"

namespace ondrix {

/// Decodes wave data block by block.
///
/// The source format is the file's "fmt " record; SuggestPCMFormat picks the target. Integer
/// PCM, IEEE float and extensible data pass through unchanged (the target equals the
/// source). Every other tag (mu-law, A-law, IMA and Microsoft ADPCM, GSM 6.10, MPEG layer 3
/// and whatever else the installed libavcodec decodes) becomes 16-bit PCM at the source's
/// rate and channel count.
///
/// Per block: SuggestSampleCount sizes the buffers, the caller fills SrcBuffer() with up to
/// SrcByteCount() bytes and calls SetInitialByteCount, Convert decodes them, and
/// GetFinalByteCount() bytes of DstBuffer() are the PCM result. A decoder keeps its state
/// from one block to the next; Reset forgets it before a read at an unrelated position.
class TACMConverter {
public:
  /// Empty formats, no stream, no buffers.
  TACMConverter();
  /// Closes the stream.
  ~TACMConverter();
  TACMConverter(const TACMConverter&) = delete;
  TACMConverter& operator=(const TACMConverter&) = delete;

  /// The file's format record (set it before opening the stream).
  TACMWaveFormat& SrcFormat() noexcept { return src_; }
  const TACMWaveFormat& SrcFormat() const noexcept { return src_; }
  /// The PCM format the data is converted to.
  TACMWaveFormat& DstFormat() noexcept { return dst_; }
  const TACMWaveFormat& DstFormat() const noexcept { return dst_; }

  /// Chooses the PCM target for the source: integer PCM, float and extensible sources are
  /// copied as they are; a source the codec layer must decode gets 16-bit PCM at its rate and
  /// channel count. Raises "Error calling acmFormatSuggest!" (with ErrorStr set) when no
  /// decoder exists for the tag or the record is unusable (no channels, no block alignment...).
  void SuggestPCMFormat();
  /// Suggests a target keeping the chosen fields of the current target fixed; false (with
  /// ErrorStr set) when the codec layer cannot produce it.
  bool SuggestFormat(bool Tag, bool Channels, bool SampleRate, bool Bits);

  /// Opens the stream for a source that is not extensible (the decoder, or an identity copy
  /// for integer PCM and float); a stream opened for other formats is reopened. Raises "Error
  /// opening acm stream!" (with ErrorStr set) when the target cannot be produced from the source.
  void InitializeStream();
  /// Opens the stream and prepares the buffers for the current byte counts; "Error preparing
  /// acm header!" when the counts are unusable.
  void InitializeHeader();
  /// InitializeStream, then InitializeHeader.
  void Initialize();
  /// A stream is open (never for an extensible source).
  bool StreamOpen() const noexcept { return codec_ != nullptr; }
  /// The buffers are prepared for the current byte counts.
  bool HeaderPrepared() const noexcept { return headerPrepared_; }

  /// Sizes a block for n values (all channels); n = -1 means 1024. True when SrcByteCount
  /// bytes decode to exactly DstByteCount bytes for n values; otherwise a source block of
  /// BlockAlign doubled until it is at least 4096 bytes is chosen and the result is false.
  /// Raises "Problem with acmStreamSize!" when even that block has no decoded size.
  bool SuggestSampleCount(int n);

  /// Bytes of one source block.
  int SrcByteCount() const noexcept { return srcByteCount_; }
  /// Sets the source block size: releases a prepared header and resizes the buffers when the
  /// value changes. Raises "Error preparing acm header!" outside 0 .. 16 MiB.
  void SetSrcByteCount(int Value);
  /// Bytes one source block decodes to (exact for everything but variable-size frames, where
  /// it is an upper bound).
  int DstByteCount() const noexcept { return dstByteCount_; }
  /// Sets the decoded block size, as SetSrcByteCount does. The destination buffer always
  /// holds at least what a block of SrcByteCount bytes can decode to, whatever this value.
  void SetDstByteCount(int Value);
  /// Source bytes actually placed in SrcBuffer for this block (whole source blocks).
  int InitialByteCount() const noexcept { return initialByteCount_; }
  void SetInitialByteCount(int Value) noexcept { initialByteCount_ = Value; }

  /// Room for SrcByteCount() bytes.
  std::uint8_t* SrcBuffer() noexcept { return srcBuffer_.data(); }
  /// The decoded bytes (GetFinalByteCount() of them after Convert).
  const std::uint8_t* DstBuffer() const noexcept { return dstBuffer_.data(); }

  /// Decodes InitialByteCount bytes of SrcBuffer. Raises "FinitialByteCount > FSrcByteCount"
  /// when more bytes were placed than the block holds, "Error converting with acm!" when
  /// the decoder rejects the data.
  void Convert();
  /// Bytes of DstBuffer produced by the last Convert (InitialByteCount for an extensible
  /// source).
  int GetFinalByteCount() const noexcept;
  /// Bytes of one source block (nBlockAlign).
  int GetBlockSize() const noexcept { return src_.BlockAlign(); }

  /// Forgets the decoder's running state (the next block is decoded on its own).
  void Reset();
  /// Releases a prepared header; the buffers stay.
  void HeaderClose();
  /// HeaderClose, then closes the stream.
  void StreamClose();
  /// StreamClose.
  void Close() { StreamClose(); }

  /// Text of the last codec failure.
  const std::string& ErrorStr() const noexcept { return errorStr_; }
  /// Replaces the text of the last failure.
  void SetErrorStr(const std::string& Value) { errorStr_ = Value; }

  /// "44100Hz, 16bit, 2ch " for an extensible format; a description of the codec's format
  /// otherwise.
  static std::string FormatDescription(const TACMWaveFormat& Format);
  /// "Extended format" for an extensible format; the name of the tag otherwise.
  static std::string FormatTagDescription(const TACMWaveFormat& Format);

private:
  struct TCodec;  // the open stream: an identity copy or a libavcodec decoder

  [[noreturn]] void Fail(const std::string& Reason, const char* Message);
  std::int64_t StreamSize(std::int64_t SrcBytes) const;
  void ResizeBuffers();

  TACMWaveFormat src_, dst_;
  TACMWaveFormat streamSrc_, streamDst_;  // the formats the open stream was made for
  std::unique_ptr<TCodec> codec_;
  std::vector<std::uint8_t> srcBuffer_, dstBuffer_;
  int srcByteCount_ = 0, dstByteCount_ = 0, initialByteCount_ = 0, finalByteCount_ = 0;
  bool headerPrepared_ = false;
  std::string errorStr_;
};

}  // namespace ondrix
