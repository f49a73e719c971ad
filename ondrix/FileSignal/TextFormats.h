// The text signal files (.sgl, .sfs, .asc): parsing their lines into values and formatting
// values into lines. Numbers use the locale's decimal separator (FloatToStr / StrToFloat).
#pragma once

#include <string>

#include "ondrix/vec/TVec.h"

namespace ondrix {

class TStringList;

/// Text of one value: FloatToStr of a real value, "re+imi" / "re-imi" of a complex one.
std::string ValueToText(const TVec& Values, int i);

/// Parses a row of values separated by Separator into Values; the row is complex when any
/// value is written "re±imi". An empty row gives no values; an empty or malformed field
/// raises EVecError naming it.
void ParseValueRow(const std::string& Row, char Separator, TVec& Values);

/// Records of a .sgl text: three lines each (count, duration in seconds, the values separated
/// by ";"); lines beyond the last whole record are ignored.
int SglRecordCount(const TStringList& Lines);
/// Record r of a .sgl text: its values and duration.
void ParseSglRecord(const TStringList& Lines, int r, TVec& Values, double& RecordTime);

/// A .sfs text: count, duration in seconds, an ignored line, then one value per line. Raises
/// "Error reading audio file: " and the reason when the count is negative or more than the
/// lines that follow.
void ParseSfs(const TStringList& Lines, TVec& Values, double& RecordTime);

/// A .asc text: "time<delimiter>value" per line, the delimiter a tab when line 0 holds one,
/// else a blank ("Delimiter for .asc must be tab or space!" otherwise). The sampling
/// frequency is 1 / (t1 - t0) of the first two lines; trailing empty lines are ignored.
void ParseAsc(const TStringList& Lines, TVec& Values, double& SamplingFrequency);

}  // namespace ondrix
