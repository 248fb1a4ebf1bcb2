// The trace's formats follow the Windows wide-format rules on every platform; these rows pin
// the ones that differ from glibc's swprintf or that a broken format could turn into a crash.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "logger/WideFormat.h"

namespace {

using logger::LogArg;

struct Row {
  const wchar_t* format;
  std::vector<LogArg> args;
  std::wstring expected;
};

TEST(WideFormat, FollowsTheWindowsConventions) {
  const auto* const pointer = reinterpret_cast<const void*>(std::uintptr_t{0xDEADBEEF});
  const std::vector<Row> rows = {
      {L"%s and %S", {L"wide", "narrow"}, L"wide and narrow"},
      {L"%ls %ws %hs", {L"l", L"w", "h"}, L"l w h"},
      {L"%S", {"Gr\xC3\xBC\xC3\x9F" "e"}, L"Gr\u00FC\u00DFe"},
      {L"%d %i %u", {-42, 7, 4294967295u}, L"-42 7 4294967295"},
      // int and long are 32 bits on Windows: %d of 0xFFFFFFFF is -1, %lu keeps the low half.
      {L"%d %lu", {0xFFFFFFFFu, std::uint64_t{0x100000005}}, L"-1 5"},
      {L"%ld %llu %I64u %zu", {-7L, 18446744073709551615ull, 18446744073709551615ull, std::size_t{12}},
       L"-7 18446744073709551615 18446744073709551615 12"},
      {L"%x %X %08X %#x", {255u, 255u, 0xBEEFu, 255u}, L"ff FF 0000BEEF 0xff"},
      // An HRESULT is a negative 32-bit value; hex shows its 32 bits, not a sign-extended 64.
      {L"hr=0x%08X", {static_cast<std::int32_t>(0x80042306u)}, L"hr=0x80042306"},
      {L"%s|%S", {std::wstring_view(L"view"), std::string_view("narrow view")}, L"view|narrow view"},
      {L"%p", {pointer}, L"00000000DEADBEEF"},
      {L"100%% sure", {}, L"100% sure"},
      {L"[%5d][%-5d][%05d][%+d]", {42, 42, -42, 3}, L"[   42][42   ][-0042][+3]"},
      {L"[%8s][%-4S][%.3s][%*d][%.5d]", {L"ab", "ab", L"abcdef", 4, 42, 42}, L"[      ab][ab  ][abc][  42][00042]"},
      {L"%c%C", {static_cast<wchar_t>(L'A'), 'b'}, L"Ab"},
      {L"%.2f %e %g", {3.14159, 12345.678, 0.5}, L"3.14 1.234568e+04 0.5"},
      {L"%S %s", {static_cast<const char*>(nullptr), static_cast<const wchar_t*>(nullptr)}, L"(null) (null)"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(logger::FormatWide(row.format, row.args), row.expected) << "format: " << testing::PrintToString(std::wstring(row.format));
  }
}

TEST(WideFormat, MismatchedArgumentsNeverCrashAndShowWhatWentWrong) {
  const std::vector<Row> rows = {
      {L"%d", {L"text"}, L"<bad arg: text>"},
      {L"%s", {42}, L"<bad arg: 42>"},
      {L"%p", {"addr"}, L"<bad arg: addr>"},
      {L"%s and %s", {L"one"}, L"one and <missing arg>"},
      {L"%d%%", {}, L"<missing arg>%"},
      {L"extra ignored", {1, L"two"}, L"extra ignored"},
      // Writing through %n is never done; unknown conversions and a trailing % stay as text.
      {L"[%n]", {42}, L"[]"},
      {L"%y %k", {1}, L"%y %k"},
      {L"50%", {}, L"50%"},
      {L"%-", {1}, L"%-"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(logger::FormatWide(row.format, row.args), row.expected) << "format: " << testing::PrintToString(std::wstring(row.format));
  }
  // A width from a broken format is bounded rather than allocating what it asks for.
  const std::vector<LogArg> one{1};
  EXPECT_LE(logger::FormatWide(L"%999999999d", one).size(), 1024u);
  EXPECT_LE(logger::FormatWide(L"%.999999999f", std::vector<LogArg>{1.5}).size(), 1024u);
}

}  // namespace
