#include "libs/zmb/src/zmb_req.h"

#include <array>
#include <string_view>

namespace Common {

namespace {

template <class T>
struct Word {
  std::string_view text;
  T value;
};

constexpr std::array<Word<ZmbReq::Type>, 2> kTypes = {
    {{"reg", ZmbReq::REG}, {"dereg", ZmbReq::DEREG}}};
constexpr std::array<Word<ZmbReq::Attr>, 2> kAttrs = {{{"zid", ZmbReq::ZID}, {"uri", ZmbReq::URI}}};

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::string_view kWordEnd = " \t\r\n=/>\"";

template <class Table, class T>
T Find(const Table& table, std::string_view text, T unknown) {
  for (const auto& word : table) {
    if (word.text == text) return word.value;
  }
  return unknown;
}

}  // namespace

ZmbReq::Type ZmbReq::Parse() {
  const std::string_view text(ctnt, size);
  type = NTYPE;
  attr = size;
  const size_t open = text.find('<');
  if (open == std::string_view::npos) return type;
  const size_t end = std::min(text.find_first_of(kWordEnd, open + 1), text.size());
  type = Find(kTypes, text.substr(open + 1, end - open - 1), NTYPE);
  if (type != NTYPE) attr = static_cast<int>(end);
  return type;
}

std::pair<ZmbReq::Attr, ZmbReq::Value> ZmbReq::GetNextAttr() {
  constexpr auto kNone = std::string_view::npos;
  const std::string_view text(ctnt, size);
  const size_t name = text.find_first_not_of(kSpace, attr);
  attr = size;  // unless a whole attribute is found there is no next one
  const size_t equals = text.find_first_of(kWordEnd, name);
  if (name == kNone || equals == kNone || equals == name || text.substr(equals, 2) != "=\"") {
    return {NATTR, {nullptr, 0}};
  }
  const size_t value = equals + 2;
  const size_t quote = text.find('"', value);
  if (quote == kNone) return {NATTR, {nullptr, 0}};
  attr = static_cast<int>(quote + 1);
  return {Find(kAttrs, text.substr(name, equals - name), NATTR),
          {ctnt + value, static_cast<int>(quote - value)}};
}

}  // namespace Common
