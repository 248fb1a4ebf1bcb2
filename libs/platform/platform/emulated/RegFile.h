#pragma once
// The .reg text format ("Windows Registry Editor Version 5.00") as a document: the key sections
// in file order, each with its value lines. Parsing never touches a registry, so the parser can
// be fuzzed on its own; EmulatedRegistry applies a document as an import and writes its tree
// back through FormatRegFile.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wincompat/WinTypes.h"

namespace platform::regfile {

enum class RegRoot { ClassesRoot, CurrentUser, LocalMachine, Users };
constexpr std::size_t kRootCount = 4;

// "HKEY_LOCAL_MACHINE" for RegRoot::LocalMachine.
const wchar_t* RootName(RegRoot root);
// Accepts the full root names and their short forms (HKLM, HKCU, HKCR, HKU), in any case.
std::optional<RegRoot> FindRoot(std::wstring_view name);

// A value as the registry stores it: its type and its bytes. String types hold UTF-16LE text
// with whatever terminator was written, exactly like the data Windows keeps.
struct RegValue {
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
  bool operator==(const RegValue&) const = default;
};

// One value line. An empty name is the key's default value ("@").
struct RegValueLine {
  std::wstring name;
  std::optional<RegValue> value;  // empty: the line deletes the value ("name"=-)
  bool operator==(const RegValueLine&) const = default;
};

// One [key] section: the root, the key names below it and the section's value lines.
struct RegSection {
  RegRoot root = RegRoot::LocalMachine;
  std::vector<std::wstring> keys;
  bool remove = false;  // [-key]: deletes the key and everything below it
  std::vector<RegValueLine> values;
  bool operator==(const RegSection&) const = default;
};

struct RegDocument {
  std::vector<RegSection> sections;
  bool operator==(const RegDocument&) const = default;
};

struct RegFileError {
  std::size_t line = 0;  // 1-based; 0 when the file as a whole is unusable
  std::string message;
  // "line 7: <message>"
  std::string ToString() const;
};

struct RegParseResult {
  RegDocument document;
  std::optional<RegFileError> error;
};

// Parses a whole file: UTF-8 (with or without a byte order mark) or UTF-16LE with its byte
// order mark; CRLF or LF line ends. The first malformed line refuses the whole file.
RegParseResult ParseRegFile(std::string_view bytes);

// Writes `document` as UTF-8 with LF line ends. Strings that a quoted value cannot carry
// (embedded terminators, line breaks, no terminator) are written as hex(1) so that reading the
// text back gives the same bytes.
std::string FormatRegFile(const RegDocument& document);

// Whether a key or value name can stand in a .reg file (no line breaks or other control
// characters; key names also no backslash).
bool IsWritableKeyName(std::wstring_view name);
bool IsWritableValueName(std::wstring_view name);

}  // namespace platform::regfile
