#include "logger/WideFormat.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <system_error>

#include "wincompat/WideString.h"

namespace logger {
namespace {

// Widths and precisions this large only come from a broken format; they must not make one
// trace line allocate megabytes.
constexpr int kMaxWidth = 1024;
constexpr int kMaxFloatPrecision = 64;
constexpr std::wstring_view kMissingArg = L"<missing arg>";

enum class Length { Default, Char, Short, Long, LongLong, Size, Wide, LongDouble };

struct Field {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  int width = 0;
  int precision = -1;
  Length length = Length::Default;
};

std::wstring Widen(std::string_view ascii) { return std::wstring(ascii.begin(), ascii.end()); }

std::wstring Digits(std::uint64_t value, unsigned base, bool upper) {
  const wchar_t* const symbols = upper ? L"0123456789ABCDEF" : L"0123456789abcdef";
  wchar_t buffer[64];
  std::size_t pos = sizeof(buffer) / sizeof(buffer[0]);
  do {
    buffer[--pos] = symbols[value % base];
    value /= base;
  } while (value != 0);
  return std::wstring(buffer + pos, buffer + sizeof(buffer) / sizeof(buffer[0]));
}

std::wstring PointerText(std::uint64_t value) {
  std::wstring digits = Digits(value, 16, true);
  // Windows prints a pointer as all the hex digits of a 64-bit address.
  return std::wstring(16 - std::min<std::size_t>(16, digits.size()), L'0') + digits;
}

std::wstring DoubleText(double value) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::general);
  return result.ec == std::errc() ? Widen(std::string_view(buffer, result.ptr)) : L"?";
}

// What an argument looks like on its own, for the marker of a mismatched conversion.
std::wstring NaturalText(const LogArg& arg) {
  switch (arg.kind()) {
    case LogArg::Kind::Signed: return std::to_wstring(arg.asSigned());
    case LogArg::Kind::Unsigned: return std::to_wstring(arg.asUnsigned());
    case LogArg::Kind::Double: return DoubleText(arg.asDouble());
    case LogArg::Kind::Narrow: return wincompat::ToWide(arg.asNarrow());
    case LogArg::Kind::Wide: return std::wstring(arg.asWide());
    case LogArg::Kind::Pointer: return PointerText(reinterpret_cast<std::uintptr_t>(arg.asPointer()));
  }
  return L"?";
}

std::wstring BadArg(const LogArg& arg) { return L"<bad arg: " + NaturalText(arg) + L">"; }

// The raw bits of an integer-like argument; none for strings and doubles.
std::optional<std::uint64_t> IntegerBits(const LogArg& arg) {
  switch (arg.kind()) {
    case LogArg::Kind::Signed: return static_cast<std::uint64_t>(arg.asSigned());
    case LogArg::Kind::Unsigned: return arg.asUnsigned();
    case LogArg::Kind::Pointer: return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(arg.asPointer()));
    default: return std::nullopt;
  }
}

// How many bits the conversion reads on Windows, where int and long are both 32 bits.
int IntegerBitsFor(Length length) {
  switch (length) {
    case Length::Char: return 8;
    case Length::Short: return 16;
    case Length::LongLong:
    case Length::Size: return 64;
    default: return 32;
  }
}

std::int64_t SignExtend(std::uint64_t bits, int width) {
  switch (width) {
    case 8: return static_cast<std::int8_t>(bits);
    case 16: return static_cast<std::int16_t>(bits);
    case 32: return static_cast<std::int32_t>(bits);
    default: return static_cast<std::int64_t>(bits);
  }
}

void AppendPadded(std::wstring& out, const Field& field, std::wstring_view prefix, std::wstring_view body,
                  bool zeroPadAllowed) {
  const std::size_t length = prefix.size() + body.size();
  const std::size_t width = static_cast<std::size_t>(field.width);
  const std::size_t pad = width > length ? width - length : 0;
  if (field.left) {
    out.append(prefix).append(body).append(pad, L' ');
  } else if (field.zero && zeroPadAllowed) {
    out.append(prefix).append(pad, L'0').append(body);
  } else {
    out.append(pad, L' ').append(prefix).append(body);
  }
}

std::wstring SignPrefix(bool negative, const Field& field) {
  if (negative) return L"-";
  if (field.plus) return L"+";
  if (field.space) return L" ";
  return {};
}

void AppendInteger(std::wstring& out, const Field& field, wchar_t conversion, const LogArg& arg) {
  const std::optional<std::uint64_t> raw = IntegerBits(arg);
  if (!raw) {
    out += BadArg(arg);
    return;
  }
  const int width = IntegerBitsFor(field.length);
  const std::uint64_t bits = width < 64 ? (*raw & ((std::uint64_t{1} << width) - 1)) : *raw;

  bool negative = false;
  std::uint64_t magnitude = bits;
  if (conversion == L'd' || conversion == L'i') {
    const std::int64_t value = SignExtend(bits, width);
    negative = value < 0;
    magnitude = negative ? std::uint64_t{0} - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  }
  const unsigned base = conversion == L'o' ? 8 : (conversion == L'x' || conversion == L'X') ? 16 : 10;
  std::wstring digits = (field.precision == 0 && magnitude == 0) ? std::wstring() : Digits(magnitude, base, conversion == L'X');
  if (field.precision > 0 && digits.size() < static_cast<std::size_t>(field.precision)) {
    digits.insert(0, static_cast<std::size_t>(field.precision) - digits.size(), L'0');
  }
  std::wstring prefix;
  if (conversion == L'd' || conversion == L'i') {
    prefix = SignPrefix(negative, field);
  } else if (field.alternate && magnitude != 0 && base == 16) {
    prefix = conversion == L'X' ? L"0X" : L"0x";
  } else if (field.alternate && base == 8 && (digits.empty() || digits[0] != L'0')) {
    prefix = L"0";
  }
  AppendPadded(out, field, prefix, digits, field.precision < 0);
}

void AppendChar(std::wstring& out, const Field& field, wchar_t conversion, const LogArg& arg) {
  const std::optional<std::uint64_t> raw = IntegerBits(arg);
  if (!raw) {
    out += BadArg(arg);
    return;
  }
  // %c is a wide character in a wide format and %C (or %hc) a narrow one; Windows' wchar_t is
  // 16 bits, so that is what a wide character holds.
  const bool narrow = (conversion == L'C' && field.length != Length::Long && field.length != Length::Wide) ||
                      (conversion == L'c' && field.length == Length::Short);
  const std::uint64_t code = *raw & (narrow ? 0xFFu : 0xFFFFu);
  // A NUL would end the line wherever the trace is read as C text; it prints as nothing.
  const std::wstring body = code == 0 ? std::wstring() : std::wstring(1, static_cast<wchar_t>(code));
  AppendPadded(out, field, {}, body, false);
}

void AppendString(std::wstring& out, const Field& field, const LogArg& arg) {
  std::wstring widened;
  std::wstring_view text;
  if (arg.kind() == LogArg::Kind::Wide) {
    text = arg.asWide();
  } else if (arg.kind() == LogArg::Kind::Narrow) {
    if (field.width == 0 && field.precision < 0) {  // the usual plain %S: straight into the line
      wincompat::AppendWide(out, arg.asNarrow());
      return;
    }
    widened = wincompat::ToWide(arg.asNarrow());
    text = widened;
  } else {
    out += BadArg(arg);
    return;
  }
  if (field.precision >= 0) text = text.substr(0, static_cast<std::size_t>(field.precision));
  AppendPadded(out, field, {}, text, false);
}

void AppendPointer(std::wstring& out, const Field& field, const LogArg& arg) {
  const std::optional<std::uint64_t> raw = IntegerBits(arg);
  if (!raw) {
    out += BadArg(arg);
    return;
  }
  AppendPadded(out, field, {}, PointerText(*raw), false);
}

void AppendFloat(std::wstring& out, const Field& field, wchar_t conversion, const LogArg& arg) {
  double value = 0;
  switch (arg.kind()) {
    case LogArg::Kind::Double: value = arg.asDouble(); break;
    case LogArg::Kind::Signed: value = static_cast<double>(arg.asSigned()); break;
    case LogArg::Kind::Unsigned: value = static_cast<double>(arg.asUnsigned()); break;
    default: out += BadArg(arg); return;
  }
  const wchar_t lower = static_cast<wchar_t>(conversion | 0x20);
  const bool upper = conversion != lower;
  const std::chars_format format = lower == L'e'   ? std::chars_format::scientific
                                   : lower == L'f' ? std::chars_format::fixed
                                   : lower == L'g' ? std::chars_format::general
                                                   : std::chars_format::hex;
  const bool negative = std::signbit(value);
  const double magnitude = std::fabs(value);
  char buffer[512];
  std::to_chars_result result{};
  if (format == std::chars_format::hex && field.precision < 0) {
    result = std::to_chars(buffer, buffer + sizeof(buffer), magnitude, format);
  } else {
    const int precision = field.precision < 0 ? 6 : std::min(field.precision, kMaxFloatPrecision);
    result = std::to_chars(buffer, buffer + sizeof(buffer), magnitude, format, precision);
  }
  if (result.ec != std::errc()) {
    out += BadArg(arg);
    return;
  }
  std::wstring body = Widen(std::string_view(buffer, result.ptr));
  if (format == std::chars_format::hex && std::isfinite(magnitude)) body.insert(0, L"0x");
  if (upper) std::transform(body.begin(), body.end(), body.begin(), [](wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c; });
  AppendPadded(out, field, SignPrefix(negative, field), body, std::isfinite(magnitude));
}

class Formatter {
 public:
  Formatter(std::wstring_view format, std::span<const LogArg> args) : format_(format), args_(args) {}

  std::wstring Run() {
    std::wstring out;
    // Room for the whole line as a rule: texts as long as they are, numbers and the like in 24.
    std::size_t room = format_.size();
    for (const LogArg& arg : args_) {
      const LogArg::Kind kind = arg.kind();
      room += kind == LogArg::Kind::Narrow ? arg.asNarrow().size()
              : kind == LogArg::Kind::Wide ? arg.asWide().size()
                                           : 24;
    }
    out.reserve(std::min<std::size_t>(room, 1u << 16));
    while (pos_ < format_.size()) {
      // The text up to the next conversion goes in one piece.
      const std::size_t conversion = std::min(format_.find(L'%', pos_), format_.size());
      out.append(format_.substr(pos_, conversion - pos_));
      pos_ = conversion;
      if (pos_ < format_.size()) AppendConversion(out);
    }
    return out;
  }

 private:
  const LogArg* NextArg() { return next_ < args_.size() ? &args_[next_++] : nullptr; }
  bool AtEnd() const { return pos_ >= format_.size(); }
  wchar_t Peek() const { return format_[pos_]; }

  // A '*' width or precision: an integer argument, or none when the argument is not one.
  std::optional<std::int64_t> StarArg() {
    const LogArg* arg = NextArg();
    if (!arg) return std::nullopt;
    const std::optional<std::uint64_t> bits = IntegerBits(*arg);
    if (!bits) return std::nullopt;
    return static_cast<std::int64_t>(static_cast<std::int32_t>(*bits));
  }

  int Number() {
    int value = 0;
    while (!AtEnd() && Peek() >= L'0' && Peek() <= L'9') {
      value = std::min(kMaxWidth, value * 10 + (Peek() - L'0'));
      ++pos_;
    }
    return value;
  }

  void ParseFlags(Field& field) {
    for (; !AtEnd(); ++pos_) {
      switch (Peek()) {
        case L'-': field.left = true; break;
        case L'+': field.plus = true; break;
        case L' ': field.space = true; break;
        case L'#': field.alternate = true; break;
        case L'0': field.zero = true; break;
        default: return;
      }
    }
  }

  void ParseWidthAndPrecision(Field& field) {
    if (!AtEnd() && Peek() == L'*') {
      ++pos_;
      const std::int64_t width = StarArg().value_or(0);
      if (width < 0) field.left = true;
      field.width = static_cast<int>(std::min<std::int64_t>(kMaxWidth, width < 0 ? -width : width));
    } else {
      field.width = Number();
    }
    if (AtEnd() || Peek() != L'.') return;
    ++pos_;
    if (!AtEnd() && Peek() == L'*') {
      ++pos_;
      const std::int64_t precision = StarArg().value_or(-1);
      field.precision = precision < 0 ? -1 : static_cast<int>(std::min<std::int64_t>(kMaxWidth, precision));
    } else {
      field.precision = Number();
    }
  }

  bool Consume(std::wstring_view text) {
    if (format_.substr(pos_).starts_with(text)) {
      pos_ += text.size();
      return true;
    }
    return false;
  }

  void ParseLength(Field& field) {
    if (AtEnd() || std::wstring_view(L"hlLwIzjt").find(Peek()) == std::wstring_view::npos) return;
    if (Consume(L"hh")) field.length = Length::Char;
    else if (Consume(L"h")) field.length = Length::Short;
    else if (Consume(L"ll")) field.length = Length::LongLong;
    else if (Consume(L"l")) field.length = Length::Long;
    else if (Consume(L"L")) field.length = Length::LongDouble;
    else if (Consume(L"w")) field.length = Length::Wide;
    else if (Consume(L"I64")) field.length = Length::LongLong;
    else if (Consume(L"I32")) field.length = Length::Long;
    else if (Consume(L"I") || Consume(L"z") || Consume(L"j") || Consume(L"t")) field.length = Length::Size;
  }

  void AppendConversion(std::wstring& out) {
    const std::size_t start = pos_++;
    if (!AtEnd() && Peek() == L'%') {
      out.push_back(L'%');
      ++pos_;
      return;
    }
    Field field;
    ParseFlags(field);
    ParseWidthAndPrecision(field);
    ParseLength(field);
    if (AtEnd()) {
      out.append(format_.substr(start));
      return;
    }
    const wchar_t conversion = Peek();
    ++pos_;
    switch (conversion) {
      case L'd': case L'i': case L'u': case L'x': case L'X': case L'o':
        WithArg(out, [&](const LogArg& arg) { AppendInteger(out, field, conversion, arg); });
        return;
      case L'c': case L'C':
        WithArg(out, [&](const LogArg& arg) { AppendChar(out, field, conversion, arg); });
        return;
      case L's': case L'S':
        WithArg(out, [&](const LogArg& arg) { AppendString(out, field, arg); });
        return;
      case L'p':
        WithArg(out, [&](const LogArg& arg) { AppendPointer(out, field, arg); });
        return;
      case L'e': case L'E': case L'f': case L'F': case L'g': case L'G': case L'a': case L'A':
        WithArg(out, [&](const LogArg& arg) { AppendFloat(out, field, conversion, arg); });
        return;
      case L'n':
        // Writing through an argument is never done; the argument is used up and nothing shows.
        NextArg();
        return;
      default:
        // Not a conversion: the text stands as written and no argument is used.
        out.append(format_.substr(start, pos_ - start));
        return;
    }
  }

  template <class Append>
  void WithArg(std::wstring& out, Append append) {
    if (const LogArg* arg = NextArg()) {
      append(*arg);
    } else {
      out.append(kMissingArg);
    }
  }

  std::wstring_view format_;
  std::span<const LogArg> args_;
  std::size_t pos_ = 0;
  std::size_t next_ = 0;
};

}  // namespace

std::wstring FormatWide(std::wstring_view format, std::span<const LogArg> args) {
  return Formatter(format, args).Run();
}

}  // namespace logger
