#include "platform/emulated/RegFile.h"

#include <array>
#include <cstdint>
#include <utility>

#include "platform/emulated/RegUtf16.h"
#include "wincompat/WideString.h"

namespace platform::regfile {
namespace {

constexpr std::wstring_view kHeader = L"Windows Registry Editor Version 5.00";
constexpr std::size_t kMaxKeyNameLength = 255;
constexpr std::size_t kMaxValueNameLength = 16383;
constexpr std::size_t kMaxKeyDepth = 512;
constexpr std::size_t kHexWrapColumn = 76;

struct RootNames {
  RegRoot root;
  const wchar_t* full;
  const wchar_t* abbreviation;
};
constexpr std::array<RootNames, kRootCount> kRoots{{
    {RegRoot::ClassesRoot, L"HKEY_CLASSES_ROOT", L"HKCR"},
    {RegRoot::CurrentUser, L"HKEY_CURRENT_USER", L"HKCU"},
    {RegRoot::LocalMachine, L"HKEY_LOCAL_MACHINE", L"HKLM"},
    {RegRoot::Users, L"HKEY_USERS", L"HKU"},
}};

wchar_t FoldAscii(wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c; }

bool EqualsIgnoringCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  return true;
}

bool StartsWithIgnoringCase(std::wstring_view text, std::wstring_view prefix) {
  return text.size() >= prefix.size() && EqualsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

std::wstring_view TrimLeft(std::wstring_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  return s;
}

std::wstring_view TrimRight(std::wstring_view s) {
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

int HexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// 1 to `maxDigits` hex digits and nothing else.
std::optional<std::uint32_t> ParseHexNumber(std::wstring_view s, std::size_t maxDigits) {
  if (s.empty() || s.size() > maxDigits) return std::nullopt;
  std::uint32_t v = 0;
  for (const wchar_t c : s) {
    const int d = HexDigit(c);
    if (d < 0) return std::nullopt;
    v = (v << 4) | static_cast<std::uint32_t>(d);
  }
  return v;
}

// ---- decoding the file ------------------------------------------------------------------------

struct DecodedText {
  std::wstring text;
  std::optional<RegFileError> error;
};

DecodedText DecodeFile(std::string_view bytes) {
  DecodedText out;
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
      static_cast<unsigned char>(bytes[1]) == 0xFE) {
    const std::string_view body = bytes.substr(2);
    if (body.size() % 2 != 0) {
      out.error = RegFileError{0, "UTF-16 file with an odd number of bytes"};
      return out;
    }
    out.text = DecodeUtf16Le(std::span(reinterpret_cast<const BYTE*>(body.data()), body.size()));
    return out;
  }
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFE &&
      static_cast<unsigned char>(bytes[1]) == 0xFF) {
    out.error = RegFileError{0, "big-endian UTF-16 files are not supported"};
    return out;
  }
  if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
  out.text = wincompat::ToWide(bytes);
  return out;
}

// ---- parsing ----------------------------------------------------------------------------------

struct Line {
  std::wstring_view text;
  std::size_t number;
};

std::vector<Line> SplitLines(std::wstring_view text) {
  std::vector<Line> lines;
  std::size_t number = 1;
  while (true) {
    const std::size_t end = text.find(L'\n');
    std::wstring_view line = text.substr(0, end);
    if (!line.empty() && line.back() == L'\r') line.remove_suffix(1);
    lines.push_back({line, number++});
    if (end == std::wstring_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

class Parser {
 public:
  explicit Parser(std::vector<Line> lines) : lines_(std::move(lines)) {}

  RegParseResult Run() {
    RegParseResult result;
    if (!ParseHeader()) return Fail(result);
    for (index_ = 1; index_ < lines_.size(); ++index_) {
      const std::wstring_view t = TrimLeft(lines_[index_].text);
      if (t.empty() || t.front() == L';') continue;
      const bool ok = t.front() == L'[' ? ParseSection(t, result.document)
                      : (t.front() == L'"' || t.front() == L'@') ? ParseValue(t, result.document)
                                                                 : Error("unexpected text; expected a [key] or a value line");
      if (!ok) return Fail(result);
    }
    return result;
  }

 private:
  RegParseResult Fail(RegParseResult& result) {
    result.document = {};
    result.error = error_;
    return std::move(result);
  }

  bool Error(std::string message) { return ErrorAt(lines_[index_].number, std::move(message)); }
  bool ErrorAt(std::size_t line, std::string message) {
    error_ = RegFileError{line, std::move(message)};
    return false;
  }

  bool ParseHeader() {
    index_ = 0;
    if (TrimRight(lines_[0].text) != kHeader)
      return Error("the file must begin with the line \"Windows Registry Editor Version 5.00\"");
    return true;
  }

  bool ParseSection(std::wstring_view t, RegDocument& document) {
    t = TrimRight(t);
    if (t.size() < 2 || t.back() != L']') return Error("a key line must end with ']'");
    std::wstring_view path = t.substr(1, t.size() - 2);
    RegSection section;
    if (!path.empty() && path.front() == L'-') {
      section.remove = true;
      path.remove_prefix(1);
    }
    const std::size_t rootEnd = path.find(L'\\');
    const auto root = FindRoot(path.substr(0, rootEnd));
    if (!root) return Error("unknown root key \"" + wincompat::ToNarrow(path.substr(0, rootEnd)) + "\"");
    section.root = *root;
    if (rootEnd != std::wstring_view::npos) {
      std::wstring_view rest = path.substr(rootEnd + 1);
      while (true) {
        const std::size_t end = rest.find(L'\\');
        const std::wstring_view name = rest.substr(0, end);
        if (name.empty()) return Error("empty key name in the key path");
        if (name.size() > kMaxKeyNameLength) return Error("key name longer than 255 characters");
        if (!IsWritableKeyName(name)) return Error("control character in a key name");
        if (section.keys.size() == kMaxKeyDepth) return Error("key path deeper than 512 levels");
        section.keys.emplace_back(name);
        if (end == std::wstring_view::npos) break;
        rest.remove_prefix(end + 1);
      }
    }
    if (section.remove && section.keys.empty()) return Error("a root key cannot be deleted");
    document.sections.push_back(std::move(section));
    return true;
  }

  // A quoted string at the start of `s` with the escapes \\ and \"; `s` is left after the
  // closing quote.
  bool ParseQuoted(std::wstring_view& s, std::wstring& out) {
    s.remove_prefix(1);
    out.clear();
    while (!s.empty()) {
      const wchar_t c = s.front();
      s.remove_prefix(1);
      if (c == L'"') return true;
      if (c == L'\\') {
        if (s.empty()) break;
        if (s.front() != L'\\' && s.front() != L'"') return Error("unknown escape sequence in a string");
        out.push_back(s.front());
        s.remove_prefix(1);
        continue;
      }
      out.push_back(c);
    }
    return Error("string without its closing quote");
  }

  bool ParseValue(std::wstring_view t, RegDocument& document) {
    if (document.sections.empty()) return Error("value line before the first [key] line");
    RegSection& section = document.sections.back();
    if (section.remove) return Error("value line under a deleted key");

    RegValueLine line;
    if (t.front() == L'@') {
      t.remove_prefix(1);
    } else {
      if (!ParseQuoted(t, line.name)) return false;
      if (line.name.size() > kMaxValueNameLength) return Error("value name longer than 16383 characters");
      if (!IsWritableValueName(line.name)) return Error("control character in a value name");
    }
    t = TrimLeft(t);
    if (t.empty() || t.front() != L'=') return Error("expected '=' after the value name");
    t = TrimLeft(t.substr(1));

    if (TrimRight(t) == L"-") {
      section.values.push_back(std::move(line));
      return true;
    }
    RegValue value;
    bool ok = false;
    if (!t.empty() && t.front() == L'"') {
      ok = ParseStringData(t, value);
    } else if (StartsWithIgnoringCase(t, L"dword:")) {
      ok = ParseDwordData(t.substr(6), value);
    } else if (StartsWithIgnoringCase(t, L"hex")) {
      ok = ParseHexData(t.substr(3), value);
    } else {
      ok = Error("unknown value data; expected \"string\", dword:, hex: or -");
    }
    if (!ok) return false;
    line.value = std::move(value);
    section.values.push_back(std::move(line));
    return true;
  }

  bool ParseStringData(std::wstring_view t, RegValue& value) {
    std::wstring text;
    if (!ParseQuoted(t, text)) return false;
    if (!TrimRight(t).empty()) return Error("unexpected text after the string");
    value.type = REG_SZ;
    value.data = EncodeUtf16Le(text);
    value.data.push_back(0);
    value.data.push_back(0);
    return true;
  }

  bool ParseDwordData(std::wstring_view t, RegValue& value) {
    const auto number = ParseHexNumber(TrimRight(t), 8);
    if (!number) return Error("dword: takes 1 to 8 hex digits");
    value.type = REG_DWORD;
    for (int shift = 0; shift < 32; shift += 8) value.data.push_back(static_cast<BYTE>((*number >> shift) & 0xFF));
    return true;
  }

  // After "hex": either ':' (REG_BINARY) or "(type):", then comma-separated bytes that may go
  // on over further lines, each continued line ending with a backslash.
  bool ParseHexData(std::wstring_view t, RegValue& value) {
    value.type = REG_BINARY;
    if (!t.empty() && t.front() == L'(') {
      const std::size_t close = t.find(L')');
      const auto type = close == std::wstring_view::npos ? std::nullopt : ParseHexNumber(t.substr(1, close - 1), 8);
      if (!type) return Error("hex(type) needs a type of 1 to 8 hex digits");
      value.type = *type;
      t.remove_prefix(close + 1);
    }
    if (t.empty() || t.front() != L':') return Error("expected ':' after hex");
    t.remove_prefix(1);

    // Join the continued lines, remembering where each one starts for the error's line number.
    std::wstring list;
    std::vector<std::pair<std::size_t, std::size_t>> starts{{0, lines_[index_].number}};
    std::wstring_view part = TrimRight(t);
    while (!part.empty() && part.back() == L'\\') {
      list.append(part.substr(0, part.size() - 1));
      const bool lastLineFollows = index_ + 2 == lines_.size() && TrimLeft(lines_[index_ + 1].text).empty();
      if (index_ + 1 >= lines_.size() || lastLineFollows) return Error("the file ends inside a continued hex list");
      ++index_;
      starts.emplace_back(list.size(), lines_[index_].number);
      part = TrimRight(TrimLeft(lines_[index_].text));
    }
    list.append(part);

    const auto lineOf = [&starts](std::size_t offset) {
      std::size_t line = starts.front().second;
      for (const auto& [start, number] : starts)
        if (start <= offset) line = number;
      return line;
    };
    if (TrimLeft(list).empty()) return true;
    std::size_t offset = 0;
    while (true) {
      const std::size_t comma = list.find(L',', offset);
      const std::wstring_view item =
          TrimRight(TrimLeft(std::wstring_view(list).substr(offset, comma == std::wstring::npos ? comma : comma - offset)));
      const auto byte = ParseHexNumber(item, 2);
      if (!byte) return ErrorAt(lineOf(offset), "bad byte in a hex list; expected 1 or 2 hex digits");
      value.data.push_back(static_cast<BYTE>(*byte));
      if (comma == std::wstring::npos) break;
      offset = comma + 1;
    }
    return true;
  }

  std::vector<Line> lines_;
  std::size_t index_ = 0;
  RegFileError error_;
};

// ---- formatting -------------------------------------------------------------------------------

std::wstring Quote(std::wstring_view s) {
  std::wstring out = L"\"";
  for (const wchar_t c : s) {
    if (c == L'\\' || c == L'"') out.push_back(L'\\');
    out.push_back(c);
  }
  out.push_back(L'"');
  return out;
}

// A REG_SZ written as "text" must read back as the same bytes: complete UTF-16 with exactly one
// terminator at the end and no line breaks.
std::optional<std::wstring> QuotableText(const RegValue& value) {
  if (value.type != REG_SZ || value.data.size() < 2 || !IsWellFormedUtf16Le(value.data)) return std::nullopt;
  std::wstring text = DecodeUtf16Le(value.data);
  if (text.back() != L'\0') return std::nullopt;
  text.pop_back();
  for (const wchar_t c : text)
    if (c == L'\0' || c == L'\r' || c == L'\n') return std::nullopt;
  return text;
}

void AppendHexList(std::wstring& out, std::size_t column, const std::vector<BYTE>& data) {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  for (std::size_t i = 0; i < data.size(); ++i) {
    const std::size_t width = i + 1 < data.size() ? 3 : 2;
    if (i > 0 && column + width > kHexWrapColumn) {
      out += L"\\\n  ";
      column = 2;
    }
    out.push_back(kDigits[data[i] >> 4]);
    out.push_back(kDigits[data[i] & 0xF]);
    if (i + 1 < data.size()) out.push_back(L',');
    column += width;
  }
}

void AppendValueLine(std::wstring& out, const RegValueLine& line) {
  const std::size_t lineStart = out.size();
  out += line.name.empty() ? std::wstring(L"@") : Quote(line.name);
  out += L'=';
  if (!line.value) {
    out += L"-\n";
    return;
  }
  const RegValue& value = *line.value;
  if (const auto text = QuotableText(value)) {
    out += Quote(*text);
  } else if (value.type == REG_DWORD && value.data.size() == 4) {
    static constexpr wchar_t kDigits[] = L"0123456789abcdef";
    out += L"dword:";
    for (int i = 3; i >= 0; --i) {
      out.push_back(kDigits[value.data[static_cast<std::size_t>(i)] >> 4]);
      out.push_back(kDigits[value.data[static_cast<std::size_t>(i)] & 0xF]);
    }
  } else {
    if (value.type == REG_BINARY) {
      out += L"hex:";
    } else {
      static constexpr wchar_t kDigits[] = L"0123456789abcdef";
      std::wstring digits;
      DWORD type = value.type;
      do {
        digits.insert(digits.begin(), kDigits[type & 0xF]);
        type >>= 4;
      } while (type != 0);
      out += L"hex(" + digits + L"):";
    }
    AppendHexList(out, out.size() - lineStart, value.data);
  }
  out += L'\n';
}

}  // namespace

const wchar_t* RootName(RegRoot root) {
  for (const auto& r : kRoots)
    if (r.root == root) return r.full;
  return L"";
}

std::optional<RegRoot> FindRoot(std::wstring_view name) {
  for (const auto& r : kRoots)
    if (EqualsIgnoringCase(name, r.full) || EqualsIgnoringCase(name, r.abbreviation)) return r.root;
  return std::nullopt;
}

std::string RegFileError::ToString() const { return "line " + std::to_string(line) + ": " + message; }

bool IsWritableKeyName(std::wstring_view name) {
  if (name.empty()) return false;
  for (const wchar_t c : name)
    if (c == L'\\' || static_cast<std::uint32_t>(c) < 0x20 || c == 0x7F) return false;
  return true;
}

bool IsWritableValueName(std::wstring_view name) {
  for (const wchar_t c : name)
    if ((static_cast<std::uint32_t>(c) < 0x20 && c != L'\t') || c == 0x7F) return false;
  return true;
}

RegParseResult ParseRegFile(std::string_view bytes) {
  DecodedText decoded = DecodeFile(bytes);
  if (decoded.error) return RegParseResult{{}, decoded.error};
  std::vector<Line> lines = SplitLines(decoded.text);
  for (const Line& line : lines) {
    if (line.text.find(L'\0') != std::wstring_view::npos)
      return RegParseResult{{}, RegFileError{line.number, "NUL character in the file"}};
  }
  return Parser(std::move(lines)).Run();
}

std::string FormatRegFile(const RegDocument& document) {
  std::wstring out(kHeader);
  out += L'\n';
  for (const RegSection& section : document.sections) {
    out += L"\n[";
    if (section.remove) out += L'-';
    out += RootName(section.root);
    for (const std::wstring& key : section.keys) out += L'\\' + key;
    out += L"]\n";
    for (const RegValueLine& line : section.values) AppendValueLine(out, line);
  }
  return wincompat::ToNarrow(out);
}

}  // namespace platform::regfile
