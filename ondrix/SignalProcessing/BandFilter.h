// Frequency bands of a filter specification, the list that holds a band layout, and the
// templates component that stores named layouts.
#pragma once

#include <memory>
#include <vector>

#include "ondrix/OndrixTools/Templates.h"

namespace ondrix {

/// The packed 41-byte stream image of a band: five little-endian doubles (FreqStart,
/// FreqStop, Gain, Ripple, Extra at offsets 0, 8, 16, 24, 32), then Flag (offset 40).
#pragma pack(push, 1)
struct TBandFilterRecordDouble {
  double FreqStart = 0, FreqStop = 0, Gain = 0, Ripple = 0, Extra = 0;
  unsigned char Flag = 0;
};
#pragma pack(pop)
static_assert(sizeof(TBandFilterRecordDouble) == 41);

/// One frequency band: edges (in the filter's frequency scale), gain (0 marks a stop band)
/// and ripple in dB (the passband ripple of a pass band, the attenuation of a stop band).
class TBandFilterRecord : public TObject {
public:
  double FreqStart = 0.0;
  double FreqStop = 0.0;
  double Gain = 0.0;
  double Ripple = 0.0;
  double Extra = 0.0;
  unsigned char Flag = 0;

  /// Copies all six fields.
  void Assign(const TBandFilterRecord& Src);
  void Assign(const TBandFilterRecordDouble& Src);
  TBandFilterRecordDouble ToDouble() const { return {FreqStart, FreqStop, Gain, Ripple, Extra, Flag}; }
  bool IsStopBand() const noexcept { return Gain == 0.0; }
  /// The band's deviation from its ripple: 10^(−Ripple/20) for a stop band,
  /// (1 − 10^(−Ripple/20)) / 2 for a pass band.
  double Deviation() const;
};

/// Why a band list cannot be designed (CheckFilter).
enum TFilterError {
  ferNone,                  ///< the list can be designed
  ferNeedTwoBands,          ///< fewer than two bands
  ferConsecutiveStopBands,  ///< two neighbouring stop bands (no pass band between them)
  ferInvalidBand,           ///< an edge that is not a number, or FreqStart > FreqStop
  ferOverlappingBands,      ///< a band does not start above its predecessor's FreqStop
  ferRangeError,            ///< an edge below 0 or above the Nyquist frequency
  ferGainRipple             ///< a negative gain, or a ripple that is not positive and finite
};

/// A band layout: the bands of one filter specification, owned by the list.
///
/// Stream image: Count + 1 images of 41 bytes in one write; the header image's first double
/// holds Count, the others are the bands in order.
class TBandFilterList : public TStreamedList {
public:
  ONDRIX_CLASS_INFO()

  /// AOwner: the filter the list belongs to (may be nullptr).
  explicit TBandFilterList(TObject* AOwner = nullptr) : owner_(AOwner) {}
  ~TBandFilterList() override;

  /// Appends a copy of Rec; returns its index.
  int Add(const TBandFilterRecord& Rec);
  /// Appends a band from its fields; returns its index.
  int Add(double FreqStart, double FreqStop, double Gain, double Ripple);
  /// Appends the reference itself, not owned; returns its index.
  int AddPointer(TBandFilterRecord* Rec);
  /// Removes band i, freeing it when the list owns it.
  void Delete(int i) override;
  TBandFilterRecord* Items(int i) const { return static_cast<TBandFilterRecord*>(TList::Items(i)); }
  /// Clear, then a copy of every band of Src.
  void Assign(const TBandFilterList& Src);
  /// Sorts by ascending FreqStart.
  void Sort();
  /// Sorts, then from the second-to-last band down to the first deletes the next band
  /// whenever it does not start above the current band's FreqStop. True if any was deleted.
  bool DeleteOverlapingBands();
  /// Checks the (sorted) layout against the rules of TFilterError, band by band in order;
  /// Index receives the offending band (−1 for ferNone and ferNeedTwoBands). Nyquist is the
  /// highest allowed edge in the bands' units.
  TFilterError CheckFilter(int& Index, double Nyquist) const;
  TObject* Owner() const noexcept { return owner_; }

  void SaveToStream(TStream& Stream) const override;
  /// Clear, then reads bands written by SaveToStream. A count that is not a number, is
  /// negative or exceeds the bands the stream holds raises EReadError
  /// "TBandFilterList: band count out of range".
  void LoadFromStream(TStream& Stream) override;
  /// The bands as settings files keep them, an array of one object per band with the
  /// record's field names: {"FreqStart": 0, "FreqStop": 0.2, "Gain": 1, "Ripple": 0.5};
  /// "Extra" and "Flag" only when they are not zero.
  void SaveToJson(TFiler::TJson& Value) const;
  /// Replaces the bands by those of Value (the SaveToJson form; the first four fields are
  /// required). Malformed data raises EJsonPropertyError at the band ("[1].Gain") and leaves
  /// the list as it was.
  void LoadFromJson(const TFiler::TJson& Value);

private:
  TObject* owner_;
  std::vector<std::unique_ptr<TBandFilterRecord>> owned_;
};

/// Named band layouts of a filter: a settings-templates object whose template is the
/// filter's band list.
class TFilterList : public TStreamTemplates {
public:
  ONDRIX_CLASS_INFO()

  /// AOwner's class name marks the stream format; the band list is created here.
  explicit TFilterList(TObject* AOwner = nullptr);
  ~TFilterList() override;

  /// The current band layout (owned).
  TBandFilterList* Template() const noexcept { return bands_.get(); }
  /// From another TFilterList: the snapshots, the selection and the current bands.
  void Assign(const TPersistent& Source) override;
  /// Stores the current bands as the JSON property "Bands" (besides the snapshots, which
  /// stay binary); the older binary form of "Bands" is still read.
  void DefineProperties(TFiler& Filer) override;

private:
  std::unique_ptr<TBandFilterList> bands_;
};

}  // namespace ondrix
