#include "sdl/member.h"

#include <algorithm>
#include <concepts>
#include <cstdlib>

namespace vxa::sdl {

namespace {

template <class Number>
Number null_number(const char* text) {
  if constexpr (std::same_as<Number, char>)
    return *text;
  else if constexpr (std::floating_point<Number>)
    return static_cast<Number>(std::strtod(text, nullptr));
  else
    return static_cast<Number>(std::strtol(text, nullptr, 10));
}

// A short is compared as an int: a null value that it cannot hold equals none.
template <class Number>
bool equals_null(const char* element, const char* text) {
  using Compared = std::conditional_t<std::same_as<Number, short>, int, Number>;
  return static_cast<Compared>(load<Number>(element)) == null_number<Compared>(text);
}

template <class Number>
void put_null(char* element, const char* text) {
  store(element, null_number<Number>(text));
}

template <class Number>
bool equals_zero(const char* element) {
  return load<Number>(element) == Number{};
}

// What is done to an element by its type. Texts are compared and written as such, and tested byte by byte.
struct Operations {
  bool (*equals_null)(const char* element, const char* text);
  void (*put_null)(char* element, const char* text);
  bool (*equals_zero)(const char* element);
};

template <class Number>
constexpr Operations operations{equals_null<Number>, put_null<Number>, equals_zero<Number>};

constexpr Operations kText{nullptr, nullptr, equals_zero<char>};
constexpr Operations kByType[] = {{},
                                  operations<char>,
                                  operations<short>,
                                  operations<int>,
                                  operations<long>,
                                  operations<float>,
                                  operations<double>,
                                  kText,
                                  kText};

}  // namespace

Member::Member(const MemberRow& row) : row_(row) {
  const std::size_t length = strnlen(row.null_value, sizeof row.null_value);
  std::memcpy(null_text_, row.null_value, length);
  null_text_[length] = 0;
}

bool Member::named(const char* name) const {
  const std::size_t length = strnlen(row_.name, sizeof row_.name);
  return std::strlen(name) == length && std::memcmp(row_.name, name, length) == 0;
}

int Member::elements() const {
  if (!fb::type_known(row_.type)) return 0;
  if (!is_text()) return row_.count;
  return row_.length > 0 ? row_.count / row_.length : 0;
}

bool Member::is_null(const char* element) const {
  if (!is_text()) return kByType[row_.type].equals_null(element, null_text_);
  const std::size_t length = strnlen(element, static_cast<std::size_t>(row_.length));
  return std::strlen(null_text_) == length && std::memcmp(element, null_text_, length) == 0;
}

void Member::store_null(char* element) const {
  if (!is_text()) return kByType[row_.type].put_null(element, null_text_);
  const std::size_t length = std::min(std::strlen(null_text_), static_cast<std::size_t>(row_.length) - 1);
  std::memcpy(element, null_text_, length);
  element[length] = 0;
}

bool Member::is_zero(const void* record, int i) const {
  const auto* first = static_cast<const char*>(record) + row_.offset;
  return kByType[row_.type].equals_zero(first + std::int64_t{element_width(row_.type)} * i);
}

}  // namespace vxa::sdl
