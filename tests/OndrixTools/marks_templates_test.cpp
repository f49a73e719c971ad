// Byte layouts of the mark stream and of the template streams, and template switching.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "tests/common/reference.h"
#include "ondrix/framework/errors.h"

using namespace ondrix;
using ondrix::testing::Raises;

namespace {

std::vector<std::uint8_t> Bytes(TMemoryStream& m) { return {m.Memory(), m.Memory() + m.Size()}; }

double DoubleAt(const std::vector<std::uint8_t>& b, std::size_t off) {
  double d;
  std::memcpy(&d, b.data() + off, 8);
  return d;
}

std::int32_t Int32At(const std::vector<std::uint8_t>& b, std::size_t off) {
  return static_cast<std::int32_t>(b[off] | b[off + 1] << 8 | b[off + 2] << 16 | static_cast<std::uint32_t>(b[off + 3]) << 24);
}

/// A settings object for templates: one integer, streamed as 4 bytes.
class TSetting : public TStreamedList {
public:
  int value = 0;
  void SaveToStream(TStream& s) const override { WriteInt32LE(s, value); }
  void LoadFromStream(TStream& s) override { value = ReadInt32LE(s); }
};

}  // namespace

TEST(Marks, StreamLayoutAndRoundTrip) {
  TMarkList empty;
  TMemoryStream m0;
  empty.SaveToStream(m0);
  ASSERT_EQ(m0.Size(), 32);
  EXPECT_EQ(DoubleAt(Bytes(m0), 24), 0.0);

  TMarkList marks;
  marks.Add(100.0, 0.5, 10.0, 1.25);
  marks.Add(200.0, 0.25, -10.0, 2.5);
  marks.Add(300.0, 0.125, 0.0, 3.75);
  TMemoryStream m;
  marks.SaveToStream(m);
  auto b = Bytes(m);
  ASSERT_EQ(b.size(), 4u * 32);
  for (int k : {0, 8, 16}) EXPECT_EQ(DoubleAt(b, k), 0.0);
  EXPECT_EQ(DoubleAt(b, 24), 3.0);
  EXPECT_EQ(DoubleAt(b, 32 + 32 * 1 + 0), 200.0);   // Freq of mark 1
  EXPECT_EQ(DoubleAt(b, 32 + 32 * 1 + 8), 0.25);    // Amplt
  EXPECT_EQ(DoubleAt(b, 32 + 32 * 1 + 16), -10.0);  // Phase
  EXPECT_EQ(DoubleAt(b, 32 + 32 * 2 + 24), 3.75);   // Time of mark 2

  TMarkList five;
  for (int i = 0; i < 5; ++i) five.Add(i, i);
  m.SetPosition(0);
  five.LoadFromStream(m);
  ASSERT_EQ(five.Count(), 3);
  EXPECT_EQ(five.Values(2).Freq, 300.0);
  m0.SetPosition(0);
  five.LoadFromStream(m0);
  EXPECT_EQ(five.Count(), 0);
}

TEST(Marks, ShortReadFillsZerosDeleteAndSort) {
  TMarkList marks;
  marks.Add(1, 2, 3, 4);
  marks.Add(5, 6, 7, 8);
  TMemoryStream m;
  marks.SaveToStream(m);
  m.SetSize(32 + 32 + 8);  // the second record is cut after its Freq
  m.SetPosition(0);
  TMarkList back;
  back.LoadFromStream(m);
  ASSERT_EQ(back.Count(), 2);
  EXPECT_EQ(back.Values(1).Freq, 5.0);
  EXPECT_EQ(back.Values(1).Amplt, 0.0);

  back.Delete(2);  // = Count: ignored
  EXPECT_EQ(back.Count(), 2);
  EXPECT_THROW(back.Delete(-1), EListError);

  TMarkList f;
  for (double x : {5.0, 1.0, 4.0, 1.0, 3.0}) f.Add(x, 0);
  f.SetSortType(srtFreq);
  f.Sort();
  for (int i = 1; i < f.Count(); ++i) EXPECT_LE(f.Values(i - 1).Freq, f.Values(i).Freq);
}

TEST(Templates, StringStreamListLayout) {
  TStringStreamList empty;
  TMemoryStream m0;
  empty.SaveToStream(m0);
  EXPECT_EQ(Bytes(m0), (std::vector<std::uint8_t>{0, 0, 0, 0}));
  TStringStreamList back;
  back.Add("x");
  m0.SetPosition(0);
  back.LoadFromStream(m0);
  EXPECT_EQ(back.Count(), 0);

  TStringStreamList l;
  l.Add("A");
  l.Add("Bc");
  l.Streams(1)->WriteBuffer("xyz", 3);
  TMemoryStream m;
  l.SaveToStream(m);
  auto b = Bytes(m);
  // L = 7 ("A\r\nBc\r\n"), the text, then sizes 0 and 3 and the 3 bytes.
  ASSERT_EQ(b.size(), 4u + 7 + 4 + 4 + 3);
  EXPECT_EQ(Int32At(b, 0), 7);
  EXPECT_EQ(std::string(b.begin() + 4, b.begin() + 11), "A\r\nBc\r\n");
  EXPECT_EQ(Int32At(b, 11), 0);
  EXPECT_EQ(Int32At(b, 15), 3);
  EXPECT_EQ(std::string(b.begin() + 19, b.end()), "xyz");

  TStringStreamList copy;
  copy.Assign(l);  // deep copy
  ASSERT_EQ(copy.Count(), 2);
  EXPECT_EQ(copy.Streams(1)->Size(), 3);
  EXPECT_NE(copy.Streams(1), l.Streams(1));

  TStringStreamList broken;
  broken.Add("a\r\nb");  // a line break splits the name on reload
  TMemoryStream mb;
  broken.SaveToStream(mb);
  mb.SetPosition(0);
  back.LoadFromStream(mb);
  EXPECT_EQ(back.Count(), 2);

  // Names assigned from a plain list come without streams: each is saved as empty.
  TStringList names;
  names.Add("n");
  TStringStreamList bare;
  bare.Assign(names);
  TMemoryStream mn;
  bare.SaveToStream(mn);
  EXPECT_EQ(Bytes(mn).size(), 4u + 3 + 4);
}

TEST(Templates, SwitchingStoresAndLoadsSettings) {
  TSetting settings;
  TSignal owner(nullptr);
  TStreamTemplates t(&owner);
  t.SetTemplate(&settings);
  settings.value = 11;
  EXPECT_EQ(t.AddTemplate("A"), 0);
  EXPECT_EQ(t.TemplateIndex(), 0);
  EXPECT_EQ(t.Templates().Streams(0)->Size(), 4);
  settings.value = 22;  // edited while A is selected
  t.AddTemplate("B");   // leaves A: stores 22 into it
  settings.value = 33;
  t.SetTemplateIndex(0);  // stores 33 into B, loads A
  EXPECT_EQ(settings.value, 22);
  t.SetTemplateName("B");
  EXPECT_EQ(settings.value, 33);
  EXPECT_EQ(t.TemplateName(), "B");
  t.SetTemplateName("nope");
  EXPECT_EQ(t.TemplateIndex(), 1);
  t.SetTemplateIndex(7);
  EXPECT_EQ(t.TemplateIndex(), -1);
  EXPECT_EQ(t.TemplateName(), "");

  // Stream: short-string class name, index, then the list.
  t.SetTemplateIndex(1);
  settings.value = 44;
  TMemoryStream m;
  t.SaveToStream(m);  // consolidates: B holds 44
  auto b = Bytes(m);
  ASSERT_GE(b.size(), 1u + 7 + 4);
  EXPECT_EQ(b[0], 7);
  EXPECT_EQ(std::string(b.begin() + 1, b.begin() + 8), "TSignal");
  EXPECT_EQ(Int32At(b, 8), 1);

  TSetting other;
  TSignal owner2(nullptr);
  TStreamTemplates t2(&owner2);
  t2.SetTemplate(&other);
  m.SetPosition(0);
  t2.LoadFromStream(m);
  EXPECT_EQ(t2.TemplateIndex(), 1);
  EXPECT_EQ(other.value, 44);

  TSpectrum wrongOwner(nullptr);
  TStreamTemplates t3(&wrongOwner);
  t3.SetTemplate(&other);
  m.SetPosition(0);
  EXPECT_THAT([&] { t3.LoadFromStream(m); }, Raises<EVecError>("Data format type missmatch: TSignal <> TSpectrum"));
  EXPECT_EQ(t3.TemplateIndex(), -1);
  t3.LoadFromFile("/nonexistent/file.tpl");  // a missing file is not an error
}
