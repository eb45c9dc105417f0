// Identities, URIs and the small text request.
#include <gtest/gtest.h>

#include "libs/zmb/src/zmb_id.h"
#include "libs/zmb/src/zmb_req.h"
#include "libs/zmb/src/zmb_uri.h"
#include "tests/libs/zmb/zmb_fixture.h"

namespace {

using Common::ZmbID;
using Common::ZmbReq;
using Common::ZmbUri;

std::pair<void*, int> Bytes(std::string& text) {
  return {text.data(), static_cast<int>(text.size())};
}

TEST(ZmbID, IsValidWhenTheFirstDotStandsInside) {
  const struct {
    std::string text;
    bool valid;
  } cases[] = {
      {"Mos.MeasMgr", true}, {"a..", true},  {"", false},
      {".ab", false},        {"ab.", false}, {"Mos", false},
  };
  for (auto c : cases) {
    EXPECT_EQ(ZmbID(c.text).IsValid(), c.valid) << c.text;
    EXPECT_EQ(ZmbID(Bytes(c.text)).IsValid(), c.valid) << c.text;
  }
  EXPECT_FALSE(ZmbID(std::pair<void*, int>(nullptr, 5)).IsValid());
  std::string text = "a.b";
  EXPECT_FALSE(ZmbID(std::pair<void*, int>(text.data(), -1)).IsValid());
}

TEST(ZmbUri, ChecksAWholeText) {
  const struct {
    std::string text;
    int prot;
  } cases[] = {
      {"ipc:///tmp/Mos.MeasMgr.ipc", Common::IPC},
      {"ipc:///ab/", -1},  // ends in a slash
      {"ipc://abcd", -1},  // no slash
      {"inproc:///a", Common::INPROC},
      {"tcp://127.0.0.1:3088", Common::TCP},
      {"tcp://a:", -1},
      {"tcp://a:1:2", -1},
      {"udp://a:12", -1},
      {"", -1},
      {std::string("ipc\0://a/b", 10), -1},
  };
  for (auto c : cases) {
    for (const ZmbUri& uri : {ZmbUri(c.text), ZmbUri(Bytes(c.text))}) {
      EXPECT_EQ(uri.prot, c.prot) << c.text;
      EXPECT_EQ(uri.uri, c.prot < 0 ? "" : c.text);
    }
  }
}

TEST(ZmbReq, ParsesTheElementAndItsAttributes) {
  using Attr = std::pair<int, std::string>;
  const struct {
    std::string text;
    int type;
    std::vector<Attr> attrs;
  } cases[] = {
      {"<reg zid=\"Tos.Ui\" uri=\"tcp://a:1\"/>", 1, {{1, "Tos.Ui"}, {2, "tcp://a:1"}}},
      {"xx <dereg uri=\"\" zid=\"a\">", 2, {{2, ""}, {1, "a"}}},
      {"<reg zid=\"a", 1, {}},
      {"<regs zid=\"a\"/>", 0, {}},
      {"", 0, {}},
  };
  for (auto c : cases) {
    ZmbReq req(c.text.data(), static_cast<int>(c.text.size()));
    EXPECT_EQ(req.Parse(), c.type) << c.text;
    std::vector<Attr> attrs;
    for (auto next = req.GetNextAttr(); next.second.first != nullptr; next = req.GetNextAttr()) {
      attrs.emplace_back(next.first,
                         std::string(static_cast<char*>(next.second.first), next.second.second));
    }
    EXPECT_EQ(attrs, c.attrs) << c.text;
  }
  EXPECT_EQ(ZmbReq(nullptr, 10).Parse(), ZmbReq::NTYPE);
}

}  // namespace
