// The emulated registry's .reg file: what it reads, what it writes back, and what it refuses.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "platform/emulated/EmulatedRegistry.h"
#include "platform/emulated/RegFile.h"

namespace {

using platform::EmulatedRegistry;

constexpr const wchar_t* kKey = L"SOFTWARE\\Vantor Storage";

std::vector<BYTE> Raw(EmulatedRegistry& reg, const wchar_t* path, const wchar_t* name, DWORD& type) {
  HKEY key = nullptr;
  if (reg.OpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
  DWORD size = 0;
  std::vector<BYTE> data;
  if (reg.QueryValueExW(key, name, nullptr, &type, nullptr, &size) == ERROR_SUCCESS) {
    data.resize(size);
    if (reg.QueryValueExW(key, name, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) data.clear();
  }
  reg.CloseKey(key);
  return data;
}

std::wstring String(EmulatedRegistry& reg, const wchar_t* path, const wchar_t* name) {
  wchar_t text[256] = {};
  DWORD size = sizeof text;
  if (reg.GetValueW(HKEY_LOCAL_MACHINE, path, name, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS)
    return L"<unreadable>";
  return text;
}

TEST(RegFile, ReadsEveryValueForm) {
  const std::string text =
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "; a comment line\r\n"
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage]\r\n"
      "@=\"the default\"\r\n"
      "\"Path\"=\"C:\\\\Program Files\\\\\\\"quoted\\\"\"\r\n"
      "\"Port\"=dword:0000150a\r\n"
      "\"Blob\"=hex:01,02,03,\\\r\n"
      "  04,ff\r\n"
      "\"Expand\"=hex(2):25,00,41,00,25,00,00,00\r\n"
      "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
      "\"Gone\"=\"soon\"\r\n"
      "\"Gone\"=-\r\n"
      "\r\n"
      "[HKLM\\SOFTWARE\\Vantor Storage\\Configuration\\Old]\r\n"
      "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration\\Old]\r\n";
  EmulatedRegistry reg;
  const auto error = reg.LoadText(text);
  ASSERT_FALSE(error) << error->ToString();

  EXPECT_EQ(String(reg, kKey, nullptr), L"the default");
  EXPECT_EQ(String(reg, kKey, L"path"), L"C:\\Program Files\\\"quoted\"");
  DWORD type = 0;
  EXPECT_EQ(Raw(reg, kKey, L"Port", type), (std::vector<BYTE>{0x0a, 0x15, 0, 0}));
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(Raw(reg, kKey, L"Blob", type), (std::vector<BYTE>{1, 2, 3, 4, 0xff}));
  EXPECT_EQ(type, REG_BINARY);
  const std::vector<BYTE> multi = Raw(reg, kKey, L"Multi", type);
  EXPECT_EQ(type, REG_MULTI_SZ);
  ASSERT_EQ(multi.size(), 5 * sizeof(wchar_t));
  EXPECT_EQ(std::wstring(reinterpret_cast<const wchar_t*>(multi.data()), 5), std::wstring(L"a\0b\0\0", 5));
  wchar_t expanded[16] = {};
  DWORD size = sizeof expanded;
  ASSERT_EQ(reg.GetValueW(HKEY_LOCAL_MACHINE, kKey, L"Expand", RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, &type, expanded,
                          &size),
            ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(expanded), L"%A%");
  EXPECT_EQ(type, REG_EXPAND_SZ);
  EXPECT_TRUE(Raw(reg, kKey, L"Gone", type).empty());
  HKEY old = nullptr;
  EXPECT_EQ(reg.OpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\Configuration\\Old", 0, KEY_READ, &old),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(reg.OpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\Configuration", 0, KEY_READ, &old),
            ERROR_SUCCESS);
  reg.CloseKey(old);
}

TEST(RegFile, WritesWhatItReadsBack) {
  EmulatedRegistry reg;
  HKEY key = nullptr;
  ASSERT_EQ(reg.CreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\Configuration", &key), ERROR_SUCCESS);
  const auto setString = [&](const wchar_t* name, const std::wstring& text, DWORD bytes) {
    ASSERT_EQ(reg.SetValueExW(key, name, REG_SZ, reinterpret_cast<const BYTE*>(text.data()), bytes), ERROR_SUCCESS);
  };
  const std::wstring plain = L"10.0.0.1 10.0.0.2";
  setString(L"GroupMgmtIps", plain, static_cast<DWORD>((plain.size() + 1) * sizeof(wchar_t)));
  const std::wstring accented = L"Gr\u00fc\u00dfe \u6771\u4eac \\ \"q\"";
  setString(L"Caf\u00e9 \"name\"", accented, static_cast<DWORD>((accented.size() + 1) * sizeof(wchar_t)));
  const std::wstring twoLines(L"a\r\nb\0c", 6);
  setString(L"Odd", twoLines, static_cast<DWORD>((twoLines.size() + 1) * sizeof(wchar_t)));
  setString(L"Unterminated", L"xyz", 3 * sizeof(wchar_t));
  setString(L"", L"default", 8 * sizeof(wchar_t));
  const DWORD port = 5392;
  ASSERT_EQ(reg.SetValueExW(key, L"GmdRestPort", REG_DWORD, reinterpret_cast<const BYTE*>(&port), 4), ERROR_SUCCESS);
  ASSERT_EQ(reg.SetValueExW(key, L"ShortDword", REG_DWORD, reinterpret_cast<const BYTE*>(&port), 2), ERROR_SUCCESS);
  std::vector<BYTE> blob(100);
  for (std::size_t i = 0; i < blob.size(); ++i) blob[i] = static_cast<BYTE>(i * 7);
  ASSERT_EQ(reg.SetValueExW(key, L"Password", REG_BINARY, blob.data(), static_cast<DWORD>(blob.size())), ERROR_SUCCESS);
  reg.CloseKey(key);
  ASSERT_EQ(reg.CreateKeyExW(HKEY_CURRENT_USER, L"Empty\\Leaf", &key), ERROR_SUCCESS);
  reg.CloseKey(key);

  const std::string saved = reg.SaveText();
  EmulatedRegistry copy;
  const auto error = copy.LoadText(saved);
  ASSERT_FALSE(error) << error->ToString() << "\n" << saved;
  EXPECT_EQ(copy.SaveText(), saved);

  // The texts a person edits stay readable; what a quoted string cannot carry goes as hex(1).
  EXPECT_NE(saved.find("\"GroupMgmtIps\"=\"10.0.0.1 10.0.0.2\"\n"), std::string::npos) << saved;
  EXPECT_NE(saved.find("\"GmdRestPort\"=dword:00001510\n"), std::string::npos);
  EXPECT_NE(saved.find("\"ShortDword\"=hex(4):10,15\n"), std::string::npos);
  EXPECT_NE(saved.find("\"Odd\"=hex(1):"), std::string::npos);
  EXPECT_NE(saved.find("[HKEY_CURRENT_USER\\Empty\\Leaf]\n"), std::string::npos);
  std::istringstream lines(saved);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;

  const wchar_t* path = L"SOFTWARE\\Vantor Storage\\Configuration";
  EXPECT_EQ(String(copy, path, L"Caf\u00e9 \"name\""), accented);
  EXPECT_EQ(String(copy, path, L"Unterminated"), L"xyz");
  DWORD type = 0;
  EXPECT_EQ(Raw(copy, path, L"Password", type), blob);
  const std::vector<BYTE> odd = Raw(copy, path, L"Odd", type);
  ASSERT_EQ(odd.size(), 7 * sizeof(wchar_t));
  EXPECT_EQ(std::wstring(reinterpret_cast<const wchar_t*>(odd.data()), 6), twoLines);
}

TEST(RegFile, RefusesMalformedFilesNamingTheLine) {
  const std::string header = "Windows Registry Editor Version 5.00\n";
  const std::string key = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n";
  struct Case {
    std::string text;
    std::size_t line;
    const char* message;
  };
  const Case cases[] = {
      {"REGEDIT4\n" + key, 1, "must begin with"},
      {header + "\"a\"=\"b\"\n", 2, "before the first [key]"},
      {header + "\n[HKEY_NOWHERE\\SOFTWARE]\n", 3, "unknown root key"},
      {header + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\\\X]\n", 2, "empty key name"},
      {header + "[-HKEY_LOCAL_MACHINE]\n", 2, "root key cannot be deleted"},
      {header + "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n\"a\"=\"b\"\n", 3, "under a deleted key"},
      {header + key + "\"a\"=\"open\n", 3, "closing quote"},
      {header + key + "\"a\"=\"bad \\n escape\"\n", 3, "unknown escape"},
      {header + key + "\"a\"=\"b\" trailing\n", 3, "after the string"},
      {header + key + "\"a\"=dword:123456789\n", 3, "dword:"},
      {header + key + "\"a\"=qword:1\n", 3, "unknown value data"},
      {header + key + "\"a\"=hex(zz):00\n", 3, "hex(type)"},
      {header + key + "\"a\"=hex:01,,02\n", 3, "bad byte"},
      {header + key + "\"a\"=hex:01,02,\\\n  03,\\\n  0g\n", 5, "bad byte"},
      {header + key + "\"a\"=hex:01,\\\n", 3, "ends inside a continued"},
      {header + key + "just words\n", 3, "unexpected text"},
      {header + key + std::string("\"a\"=\"b\0c\"\n", 10), 3, "NUL"},
      {std::string("\xFF\xFE\x41", 3), 0, "odd number of bytes"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EmulatedRegistry reg;
    ASSERT_FALSE(reg.LoadText(header + key + "\"kept\"=dword:00000001\n"));
    const auto error = reg.LoadText(c.text);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->line, c.line) << error->ToString();
    EXPECT_NE(error->message.find(c.message), std::string::npos) << error->ToString();
    // A refused file leaves what was loaded before.
    DWORD value = 0, size = 4;
    EXPECT_EQ(reg.GetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\X", L"kept", RRF_RT_REG_DWORD, nullptr, &value, &size),
              ERROR_SUCCESS);
  }
}

TEST(RegFile, ReadsUtf16FilesAndPersistsEveryWrite) {
  // Files saved by the Windows registry editor are UTF-16LE with a byte order mark.
  const std::wstring wide = L"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\\u00c5]\r\n"
                            L"\"n\u00e4me\"=\"v\u00e4lue\"\r\n";
  std::string utf16 = "\xFF\xFE";
  for (const wchar_t c : wide) {
    utf16.push_back(static_cast<char>(c & 0xFF));
    utf16.push_back(static_cast<char>((c >> 8) & 0xFF));
  }
  EmulatedRegistry reg;
  const auto error = reg.LoadText(utf16);
  ASSERT_FALSE(error) << error->ToString();
  EXPECT_EQ(String(reg, L"SOFTWARE\\\u00c5", L"n\u00e4me"), L"v\u00e4lue");

  std::random_device random;
  const auto dir = std::filesystem::temp_directory_path() / ("vantor-regfile-" + std::to_string(random()));
  std::filesystem::create_directories(dir);
  const auto file = dir / "registry.reg";
  reg.PersistTo(file);
  HKEY key = nullptr;
  ASSERT_EQ(reg.CreateKeyExW(HKEY_LOCAL_MACHINE, kKey, &key), ERROR_SUCCESS);
  const DWORD one = 1;
  ASSERT_EQ(reg.SetValueExW(key, L"SkipVersionCheck", REG_DWORD, reinterpret_cast<const BYTE*>(&one), 4),
            ERROR_SUCCESS);
  reg.CloseKey(key);

  EmulatedRegistry reloaded;
  ASSERT_FALSE(reloaded.LoadFile(file));
  DWORD value = 0, size = 4;
  EXPECT_EQ(reloaded.GetValueW(HKEY_LOCAL_MACHINE, kKey, L"SkipVersionCheck", RRF_RT_REG_DWORD, nullptr, &value, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(value, 1u);
  EXPECT_EQ(String(reloaded, L"SOFTWARE\\\u00c5", L"n\u00e4me"), L"v\u00e4lue");

  ASSERT_EQ(reg.DeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE"), ERROR_SUCCESS);
  ASSERT_FALSE(reloaded.LoadFile(file));
  EXPECT_EQ(reloaded.GetValueW(HKEY_LOCAL_MACHINE, kKey, L"SkipVersionCheck", RRF_RT_REG_DWORD, nullptr, &value, &size),
            ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(reloaded.LoadFile(dir / "missing.reg"));
  std::filesystem::remove_all(dir);
}

}  // namespace
