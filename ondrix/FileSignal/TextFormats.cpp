#include "ondrix/FileSignal/TextFormats.h"

#include <cmath>
#include <string_view>

#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

[[noreturn]] void BadText(const std::string& what) { ERaise("Error reading audio file: " + what); }

// Position of the sign that starts the imaginary part of "re±imi", or npos.
std::size_t ImaginarySign(std::string_view field) {
  for (std::size_t k = field.size() - 1; k > 0; --k) {
    const char c = field[k];
    if ((c == '+' || c == '-') && field[k - 1] != 'e' && field[k - 1] != 'E') return k;
  }
  return std::string_view::npos;
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

int ParseCount(const std::string& line, const char* what) {
  const double n = StrToFloat(line);
  if (!(n >= 0 && n <= 2147483647.0 && n == std::floor(n))) BadText(std::string(what) + " is not a count: " + line);
  return static_cast<int>(n);
}

}  // namespace

std::string ValueToText(const TVec& Values, int i) {
  if (!Values.Complex()) return FloatToStr(Values.Values(i));
  const TCplx z = Values.CValues(i);
  const std::string im = FloatToStr(z.imag());
  return FloatToStr(z.real()) + (im.front() == '-' ? "" : "+") + im + "i";
}

void ParseValueRow(const std::string& Row, char Separator, TVec& Values) {
  std::vector<TCplx> parsed;
  bool complex = false;
  std::string_view rest = Row;
  bool more = !Trim(rest).empty();
  while (more) {
    const std::size_t end = rest.find(Separator);
    std::string_view field = Trim(rest.substr(0, end));
    more = end != std::string_view::npos;
    rest = more ? rest.substr(end + 1) : std::string_view{};
    if (field.empty()) {
      if (!more) break;  // a trailing separator ends the row
      BadText("empty value in a row at field " + std::to_string(parsed.size()));
    }
    if (field.back() == 'i' || field.back() == 'I') {
      field.remove_suffix(1);
      const std::size_t k = field.empty() ? std::string_view::npos : ImaginarySign(field);
      if (k == std::string_view::npos) BadText("malformed complex value '" + std::string(field) + "i'");
      parsed.emplace_back(StrToFloat(std::string(field.substr(0, k))), StrToFloat(std::string(field.substr(k))));
      complex = true;
    } else {
      parsed.emplace_back(StrToFloat(std::string(field)), 0.0);
    }
  }
  const int n = static_cast<int>(parsed.size());
  Values.Size(n, complex);
  for (int i = 0; i < n; ++i) {
    if (complex)
      Values.CValues(i) = parsed[static_cast<std::size_t>(i)];
    else
      Values.Values(i) = parsed[static_cast<std::size_t>(i)].real();
  }
}

int SglRecordCount(const TStringList& Lines) { return Lines.Count() / 3; }

void ParseSglRecord(const TStringList& Lines, int r, TVec& Values, double& RecordTime) {
  if (r < 0 || r >= SglRecordCount(Lines)) ERaise("Record number: " + std::to_string(r) + " not found!");
  ParseCount(Lines.Strings(3 * r), "the record's sample count");
  RecordTime = StrToFloat(Lines.Strings(3 * r + 1));
  ParseValueRow(Lines.Strings(3 * r + 2), ';', Values);
}

void ParseSfs(const TStringList& Lines, TVec& Values, double& RecordTime) {
  if (Lines.Count() < 2) BadText(".sfs header needs two lines");
  const int n = ParseCount(Lines.Strings(0), ".sfs line 0");
  RecordTime = StrToFloat(Lines.Strings(1));
  if (n > Lines.Count() - 3) BadText(".sfs header counts " + std::to_string(n) + " values, the file holds fewer");
  Values.Size(n, false);
  for (int i = 0; i < n; ++i) Values.Values(i) = StrToFloat(Lines.Strings(3 + i));
}

void ParseAsc(const TStringList& Lines, TVec& Values, double& SamplingFrequency) {
  int n = Lines.Count();
  while (n > 0 && Trim(Lines.Strings(n - 1)).empty()) --n;
  if (n == 0) BadText(".asc file is empty");
  const std::string& first = Lines.Strings(0);
  const char delimiter = first.find('\t') != std::string::npos ? '\t'
                         : first.find(' ') != std::string::npos ? ' '
                                                                : '\0';
  if (delimiter == '\0') ERaise("Delimiter for .asc must be tab or space!");
  auto split = [&](int i, std::string& time, std::string& value) {
    const std::string& line = Lines.Strings(i);
    const std::size_t d = line.find(delimiter);
    if (d == std::string::npos) BadText(".asc line " + std::to_string(i) + " has no delimiter");
    time = line.substr(0, d);
    value = line.substr(d + 1);
  };
  if (n < 2) BadText(".asc file needs two lines for its sampling frequency");
  std::string t, v;
  split(0, t, v);
  const double t0 = StrToFloat(t);
  split(1, t, v);
  SamplingFrequency = 1.0 / (StrToFloat(t) - t0);
  Values.Size(n, false);
  for (int i = 0; i < n; ++i) {
    split(i, t, v);
    Values.Values(i) = StrToFloat(v);
  }
}

}  // namespace ondrix
