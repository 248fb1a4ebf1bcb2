#pragma once
// Reads the attributes of one object of an answer. A record type names its attributes in a
// table (an attribute is known by its position there); the reader finds them all in one pass
// over the object's members, the first of two members with one name counting, as a lookup by
// name would. An absent attribute or a JSON null leaves the record's attribute unset (a null
// means "no value" on the wire); a value of another JSON type is an AnswerError naming the
// object and the attribute.
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "JsonAnswer.h"
#include "Session.h"

namespace VantorStorage::WS::detail {

// More objects than any array holds; a longer list is a broken answer, not data.
inline constexpr std::size_t kMaxObjectsPerAnswer = 100000;

// Where an object sits in an answer, for error texts: "the volume", "snapshot 3", "metadata
// entry 0 of snapshot 3". Spelled out only when an error needs it.
struct ObjectPlace {
  static constexpr std::size_t kNoIndex = static_cast<std::size_t>(-1);
  std::string_view kind;
  std::size_t index = kNoIndex;
  const ObjectPlace* of = nullptr;

  std::string text() const;
};

// Bit i set: attribute i of a table is read.
using AttributeMask = std::uint32_t;
inline constexpr AttributeMask kEveryAttribute = ~AttributeMask{0};

// The wire names of a record type's attributes, with the attributes of each name length, so
// that a member's name is compared with the few names of its length only.
template <std::size_t N>
class AttributeNames {
  static_assert(N <= 32, "an attribute mask has 32 bits");

 public:
  template <class... Names>
  constexpr explicit AttributeNames(Names... names) : mNames{names...} {
    static_assert(sizeof...(Names) == N, "one name per attribute");
    for (std::size_t i = 0; i < N; ++i) mByLength[lengthSlot(mNames[i].size())] |= AttributeMask{1} << i;
  }

  const std::string_view& operator[](std::size_t attribute) const { return mNames[attribute]; }
  const std::string_view* begin() const { return mNames.data(); }
  const std::string_view* end() const { return mNames.data() + N; }
  AttributeMask ofLength(std::size_t length) const { return mByLength[lengthSlot(length)]; }

 private:
  static constexpr std::size_t kLengthSlots = 32;  // the last one takes every longer name
  static constexpr std::size_t lengthSlot(std::size_t length) {
    return length < kLengthSlots ? length : kLengthSlots - 1;
  }

  std::array<std::string_view, N> mNames;
  std::array<AttributeMask, kLengthSlots> mByLength{};
};

template <std::size_t N>
class ObjectReader {
 public:
  ObjectReader(const JsonValue& object, const AttributeNames<N>& names, const ObjectPlace& place,
               AttributeMask wanted = kEveryAttribute)
      : mNames(names), mPlace(place) {
    if (!object.IsObject()) throw AnswerError(place.text() + " is " + jsonTypeName(object) + ", expected an object");
    AttributeMask missing = wanted & (N == 32 ? kEveryAttribute : (AttributeMask{1} << N) - 1);
    for (auto member = object.MemberBegin(); missing != 0 && member != object.MemberEnd(); ++member) {
      const std::string_view name(member->name.GetString(), member->name.GetStringLength());
      for (AttributeMask candidates = names.ofLength(name.size()) & missing; candidates != 0;
           candidates &= candidates - 1) {
        const auto i = static_cast<std::size_t>(std::countr_zero(candidates));
        if (names[i] != name) continue;
        mFound[i] = &member->value;
        missing &= ~(AttributeMask{1} << i);
        break;
      }
    }
  }

  std::optional<std::string> text(std::size_t attribute) const {
    const JsonValue* value = find(attribute);
    if (!value) return std::nullopt;
    if (!value->IsString()) wrongType(attribute, *value, "a string");
    return stringOf(*value);
  }

  std::optional<std::int64_t> integer(std::size_t attribute) const {
    const JsonValue* value = find(attribute);
    if (!value) return std::nullopt;
    if (value->IsInt64()) return value->GetInt64();
    if (value->IsUint64()) throw AnswerError(describe(attribute) + " is out of range");
    wrongType(attribute, *value, "an integer");
  }

  std::optional<bool> boolean(std::size_t attribute) const {
    const JsonValue* value = find(attribute);
    if (!value) return std::nullopt;
    if (!value->IsBool()) wrongType(attribute, *value, "a boolean");
    return value->GetBool();
  }

  // A string of hexadecimal digits, answered as the bytes it spells.
  std::optional<std::string> hexBytes(std::size_t attribute) const {
    const JsonValue* value = find(attribute);
    if (!value) return std::nullopt;
    if (!value->IsString()) wrongType(attribute, *value, "a string");
    const std::string_view digits(value->GetString(), value->GetStringLength());
    if (digits.size() % 2 != 0) throw AnswerError(describe(attribute) + " has an odd number of hex digits");
    std::string bytes(digits.size() / 2, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const int high = hexValue(digits[2 * i]);
      const int low = hexValue(digits[2 * i + 1]);
      if (high < 0 || low < 0) throw AnswerError(describe(attribute) + " is not hexadecimal");
      bytes[i] = static_cast<char>((high << 4) | low);
    }
    return bytes;
  }

  // An array attribute: nullptr when absent, the null itself when null (the caller decides
  // what a null list means).
  const JsonValue* array(std::size_t attribute) const {
    const JsonValue* value = mFound[attribute];
    if (!value || value->IsNull()) return value;
    if (!value->IsArray()) wrongType(attribute, *value, "an array");
    if (value->Size() > kMaxObjectsPerAnswer) throw AnswerError(describe(attribute) + " has too many entries");
    return value;
  }

 private:
  const JsonValue* find(std::size_t attribute) const {
    const JsonValue* value = mFound[attribute];
    return value && !value->IsNull() ? value : nullptr;
  }

  std::string describe(std::size_t attribute) const {
    return "attribute '" + std::string(mNames[attribute]) + "' of " + mPlace.text();
  }

  [[noreturn]] void wrongType(std::size_t attribute, const JsonValue& value, const char* expected) const {
    throw AnswerError(describe(attribute) + " is " + jsonTypeName(value) + ", expected " + expected);
  }

  static int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  const AttributeNames<N>& mNames;
  const ObjectPlace& mPlace;
  std::array<const JsonValue*, N> mFound{};
};

}  // namespace VantorStorage::WS::detail
