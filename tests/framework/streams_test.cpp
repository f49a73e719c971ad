// Memory and file streams, little-endian helpers, the class registry.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "test_components.h"

namespace ondrix::test {
namespace {

std::string TempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("ondrix_fw_" + std::to_string(::getpid()) + "_" + name)).string();
}

TEST(MemoryStream, ReadWriteSeekSizeAndShortReads) {
  TMemoryStream m;
  EXPECT_EQ(m.Write("abcdef", 6), 6);
  EXPECT_EQ(m.Position(), 6);
  EXPECT_EQ(m.Size(), 6);
  m.SetPosition(2);
  char buf[8] = {};
  EXPECT_EQ(m.Read(buf, 8), 4);  // only what is left
  EXPECT_EQ(std::string(buf, 4), "cdef");
  EXPECT_EQ(m.Read(buf, 8), 0);
  EXPECT_EQ(m.Seek(-2, soFromEnd), 4);
  EXPECT_EQ(m.Seek(1, soFromCurrent), 5);
  EXPECT_THROW(m.Seek(-1, soFromBeginning), EStreamError);

  // Writing past the end fills the gap with zeros.
  m.SetPosition(8);
  m.WriteBuffer("z", 1);
  EXPECT_EQ(m.Size(), 9);
  EXPECT_EQ(m.Memory()[6], 0);
  EXPECT_EQ(m.Memory()[8], 'z');

  m.SetSize(3);  // truncating pulls the position back
  EXPECT_EQ(m.Position(), 3);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(m.Memory()), 3), "abc");
  m.SetPosition(1);
  EXPECT_THAT([&] { m.ReadBuffer(buf, 3); }, Raises<EReadError>("Stream read error"));
  m.ReadBuffer(buf, 0);  // nothing asked, nothing raised
  m.Clear();
  EXPECT_EQ(m.Size(), 0);
  EXPECT_EQ(m.Position(), 0);
}

TEST(MemoryStream, CopyFromAndStreamsAndFiles) {
  TMemoryStream src;
  src.WriteBuffer("0123456789", 10);
  src.SetPosition(7);
  TMemoryStream dst;
  EXPECT_EQ(dst.CopyFrom(src, 0), 10);  // 0 = all of it, from the start
  EXPECT_EQ(dst.Size(), 10);
  src.SetPosition(2);
  TMemoryStream part;
  EXPECT_EQ(part.CopyFrom(src, 3), 3);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(part.Memory()), 3), "234");
  EXPECT_THROW(part.CopyFrom(src, 100), EReadError);

  const std::string file = TempPath("mem.bin");
  dst.SaveToFile(file);
  TMemoryStream back;
  back.LoadFromFile(file);
  EXPECT_EQ(back.Size(), 10);
  EXPECT_EQ(back.Position(), 0);
  EXPECT_EQ(std::memcmp(back.Memory(), "0123456789", 10), 0);
  std::filesystem::remove(file);
}

TEST(FileStream, ModesAndErrors) {
  const std::string file = TempPath("file.bin");
  {
    TFileStream f(file, fmCreate);
    f.WriteBuffer("hello world", 11);
    EXPECT_EQ(f.Size(), 11);
    f.SetSize(5);
    EXPECT_EQ(f.Size(), 5);
    EXPECT_EQ(f.Position(), 5);
  }
  {
    TFileStream f(file, fmOpenRead | fmShareDenyWrite);
    char buf[16] = {};
    EXPECT_EQ(f.Read(buf, 16), 5);
    EXPECT_EQ(std::string(buf), "hello");
    EXPECT_THROW(f.WriteBuffer("x", 1), EWriteError);  // read-only
  }
  {
    TFileStream f(file, fmOpenReadWrite);
    f.Seek(0, soFromEnd);
    f.WriteBuffer("!", 1);
    f.SetPosition(0);
    char buf[6] = {};
    f.ReadBuffer(buf, 6);
    EXPECT_EQ(std::string(buf, 6), "hello!");
  }
  {
    TFileStream f(file, fmCreate);  // truncates
    EXPECT_EQ(f.Size(), 0);
  }
  EXPECT_TRUE(FileExists(file));
  std::filesystem::remove(file);
  EXPECT_FALSE(FileExists(file));
  EXPECT_THAT([&] { TFileStream f(file, fmOpenRead); }, Raises<EFOpenError>("Cannot open file \"" + file + "\""));
  const std::string bad = "/nonexistent_dir_ondrix/x.bin";
  EXPECT_THAT([&] { TFileStream f(bad, fmCreate); }, Raises<EFCreateError>("Cannot create file \"" + bad + "\""));
}

TEST(LittleEndian, ByteOrderAndShortReads) {
  TMemoryStream m;
  WriteInt32LE(m, 0x01020304);
  WriteInt32LE(m, -2);
  WriteDoubleLE(m, 1.0);
  const std::uint8_t expected[16] = {4, 3, 2, 1, 0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F};
  ASSERT_EQ(m.Size(), 16);
  EXPECT_EQ(std::memcmp(m.Memory(), expected, 16), 0);
  m.SetPosition(0);
  EXPECT_EQ(ReadInt32LE(m), 0x01020304);
  EXPECT_EQ(ReadInt32LE(m), -2);
  EXPECT_EQ(ReadDoubleLE(m), 1.0);
  EXPECT_THROW(ReadInt32LE(m), EReadError);
}

TEST(Registry, RegisterFindCreateUnregister) {
  RegisterTestClasses();
  RegisterTestClasses();  // the same classes again: no error
  EXPECT_EQ(&FindClass("TTestNode"), &TTestNode::StaticClassInfo());
  EXPECT_EQ(GetClass("TNoSuchClass"), nullptr);
  EXPECT_THAT([&] { FindClass("TNoSuchClass"); }, Raises<EClassNotFound>("Class TNoSuchClass not found"));
  std::unique_ptr<TComponent> c = CreateComponentByName("TTestDerived");
  EXPECT_EQ(c->ClassName(), "TTestDerived");
  EXPECT_EQ(c->Owner(), nullptr);
  RegisterClass(TKvxComponentList::StaticClassInfo());
  EXPECT_THAT([&] { CreateComponentByName("TKvxComponentList"); },  // abstract
              Raises<EFilerError>("Class TKvxComponentList cannot be created by name"));
  UnRegisterClass(TKvxComponentList::StaticClassInfo());

  // Another class under a registered name is refused.
  TClassInfo impostor;
  impostor.Name = "TTestNode";
  EXPECT_THROW(RegisterClass(impostor), EFilerError);
  UnRegisterClass(impostor);  // not the registered one: nothing happens
  EXPECT_NE(GetClass("TTestNode"), nullptr);

  TClassInfo temporary;
  temporary.Name = "TTemporary";
  RegisterClass(temporary);
  EXPECT_EQ(GetClass("TTemporary"), &temporary);
  UnRegisterClass(temporary);
  EXPECT_EQ(GetClass("TTemporary"), nullptr);
  RegisterClass(TTestSub::StaticClassInfo());
  EXPECT_THROW(CreateComponentByName("TTestSub"), EFilerError);  // not a component
  UnRegisterClass(TTestSub::StaticClassInfo());
}

}  // namespace
}  // namespace ondrix::test
