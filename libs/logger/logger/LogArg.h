#pragma once
// One argument of a trace line, captured with its type so that the formatter can check it
// against the conversion in the format instead of trusting a va_list.
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace logger {

class LogArg {
 public:
  enum class Kind { Signed, Unsigned, Double, Narrow, Wide, Pointer };

  template <class T>
    requires(std::is_integral_v<T> && std::is_signed_v<T>)
  LogArg(T v) : kind_(Kind::Signed), signed_(v) {}
  template <class T>
    requires(std::is_integral_v<T> && std::is_unsigned_v<T>)
  LogArg(T v) : kind_(Kind::Unsigned), unsigned_(v) {}
  template <class T>
    requires std::is_enum_v<T>
  LogArg(T v) : LogArg(static_cast<std::underlying_type_t<T>>(v)) {}
  LogArg(double v) : kind_(Kind::Double), double_(v) {}
  LogArg(const char* v) : kind_(Kind::Narrow), narrow_(v ? v : "(null)") {}
  LogArg(const wchar_t* v) : kind_(Kind::Wide), wide_(v ? v : L"(null)") {}
  LogArg(const std::string& v) : kind_(Kind::Narrow), narrow_(v) {}
  LogArg(const std::wstring& v) : kind_(Kind::Wide), wide_(v) {}
  LogArg(std::string_view v) : kind_(Kind::Narrow), narrow_(v) {}
  LogArg(std::wstring_view v) : kind_(Kind::Wide), wide_(v) {}
  LogArg(const void* v) : kind_(Kind::Pointer), pointer_(v) {}

  Kind kind() const { return kind_; }
  std::int64_t asSigned() const { return signed_; }
  std::uint64_t asUnsigned() const { return unsigned_; }
  double asDouble() const { return double_; }
  std::string_view asNarrow() const { return narrow_; }
  std::wstring_view asWide() const { return wide_; }
  const void* asPointer() const { return pointer_; }

 private:
  Kind kind_;
  std::int64_t signed_ = 0;
  std::uint64_t unsigned_ = 0;
  double double_ = 0;
  std::string_view narrow_;
  std::wstring_view wide_;
  const void* pointer_ = nullptr;
};

}  // namespace logger
