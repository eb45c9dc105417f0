// A small text request on the bus, an element with attributes: <reg zid="Tos.Ui" uri="tcp://..."/>
//
// A view: the text stays with the caller and outlives it. Any bytes are safe to parse.
#pragma once

#include <utility>

namespace Common {

struct ZmbReq {
  enum Type : int { NTYPE = 0, REG = 1, DEREG = 2 };
  enum Attr : int { NATTR = 0, ZID = 1, URI = 2 };
  using Value = std::pair<void*, int>;  ///< pointer into the text, and length

  char* ctnt;
  int size;
  int attr = 0;  ///< offset at which the next attribute is looked for
  Type type = NTYPE;

  ZmbReq(char* text, int length) : ctnt(text), size(text != nullptr && length > 0 ? length : 0) {}

  /// Finds the element's word; NTYPE, with no attributes, for an unknown word or none.
  Type Parse();

  /// The next name="value". NATTR with a value for a name that is not known, NATTR with a null
  /// pointer at the end of the element or where the text is broken.
  std::pair<Attr, Value> GetNextAttr();
};

}  // namespace Common
