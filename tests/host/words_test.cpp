// What a person types and what stands in the instrument's files: hexadecimal, addresses, hosts.
#include <gtest/gtest.h>

#include "host/request.h"
#include "host/result_text.h"
#include "host/transport_address.h"

namespace {

TEST(Hex, TakesPairsWithBlanksAnywhereBetween) {
  struct {
    const char* text;
    std::optional<host::Bytes> bytes;
  } const cases[] = {
      {"", host::Bytes{}},
      {"00 00 46", host::Bytes{0, 0, 0x46}},
      {"0000aAFf", host::Bytes{0, 0, 0xAA, 0xFF}},
      {"0 0", std::nullopt},
      {"0x46", std::nullopt},
      {"46 4G", std::nullopt},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_EQ(host::ParseHex(c.text, error), c.bytes) << '"' << c.text << '"';
    EXPECT_EQ(error.empty(), c.bytes.has_value());
  }
}

TEST(WithChecksum, CompletesARecordOrReportsWhyNot) {
  const host::Bytes whole = {1, 2, 0x35, 0, 2, 0, 0xFF, 0xFF, 0x38, 0x02};
  std::string error;
  EXPECT_EQ(host::WithChecksum({1, 2, 0x35, 0, 2, 0, 0xFF, 0xFF}, error), whole);
  EXPECT_EQ(host::WithChecksum({1, 2, 0x35, 0, 2, 0, 0xFF, 0xFF, 9, 9}, error), whole);
  EXPECT_EQ(error, "");
  const host::Bytes bad[] = {{},
                             {1, 2, 0x35, 0, 2, 0, 1},
                             {1, 2, 0x35, 0, 2, 0, 1, 2, 3},
                             {1, 2, 0x35, 0, 0xFF, 0xFF, 1, 2}};
  for (const host::Bytes& bytes : bad) {
    error.clear();
    EXPECT_FALSE(host::WithChecksum(bytes, error)) << host::HexText(bytes);
    EXPECT_NE(error, "");
  }
}

TEST(TransportAddress, KnowsTheAddressesOfTheThreeRoutes) {
  using host::TransportAddress;
  struct {
    const char* uri;
    int kind;  // -1: none
    const char* address;
  } const cases[] = {
      {"tcp://127.0.0.1", TransportAddress::kBus, "tcp://127.0.0.1:3088"},
      {"ipc:///tmp/x.ipc", TransportAddress::kBus, "ipc:///tmp/x.ipc"},
      {"host://localhost", TransportAddress::kHost, "localhost:3087"},
      {"host://127.0.0.51:65535", TransportAddress::kHost, "127.0.0.51:65535"},
      {"tcp://:3088", -1, ""},
      {"tcp://127.0.0.1:65536", -1, ""},
      {"tcp://127.0.0.1:80x", -1, ""},
      {"ipc:///tmp/", -1, ""},
      {"udp://127.0.0.1:1", -1, ""},
  };
  for (const auto& c : cases) {
    std::string error;
    auto address = host::AddressFrom(c.uri, error);
    ASSERT_EQ(address ? static_cast<int>(address->kind) : -1, c.kind) << c.uri;
    EXPECT_EQ(address ? address->address : "", c.address) << c.uri;
    EXPECT_EQ(error.find(c.uri) != std::string::npos, !address) << error;
  }
}

TEST(Hosts, ReturnsTheAddressOfAName) {
  const char* hosts =
      "# main in a comment\n"
      "\n"
      "127.0.0.51 main\n"
      "  127.0.0.52\tmeas  board2 # source\n"
      "127.0.0.53 source\n"
      "127.0.0.54 main\n"
      "meas";
  EXPECT_EQ(host::AddressIn(hosts, "board2"), "127.0.0.52");
  EXPECT_EQ(host::AddressIn(hosts, "mai"), "");
}

// A poll before any test: every field is 0.
TEST(Results, OnlyNumbersArePrinted) {
  host::MeasurementResult idle;
  idle.record.rsltype = 0x900;
  for (const std::string& text :
       {host::ResultText(idle), host::CsvRow(idle), host::ResultJson(idle).dump()}) {
    EXPECT_EQ(text.find("nan"), text.npos) << text;
    EXPECT_EQ(text.find("inf"), text.npos) << text;
  }
}

}  // namespace
