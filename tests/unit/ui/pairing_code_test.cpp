#include "ui/pairing_code.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_system.h"

namespace tovalin {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

// Parses nothing.
struct NoUrls : UrlParser {
  std::optional<Url> parse(std::string_view) const override { return std::nullopt; }
  std::string encodeQueryValue(std::string_view) const override { return {}; }
};

class PairingCodeTest : public ::testing::Test {
 protected:
  fake::FakeUrlParser urls_;
  fake::FakeQrCodeGenerator generator_;
  PairingCode code_{urls_, generator_};
};

TEST_F(PairingCodeTest, PayloadCarriesHostTokenAndNameInThisOrder) {
  EXPECT_EQ(code_.payload("ABCD", "t0ken", "studio"),
            "tovalin://pair?host=ABCD&token=t0ken&name=studio");
}

TEST_F(PairingCodeTest, ValuesArePercentEncoded) {
  EXPECT_EQ(code_.payload("a", "b", "Ada & Müller's 机"),
            "tovalin://pair?host=a&token=b&name=Ada%20%26%20M%C3%BCller%27s%20%E6%9C%BA");
}

TEST_F(PairingCodeTest, AnAbsentTokenIsAnEmptyValue) {
  EXPECT_EQ(code_.payload("a", "", "b"), "tovalin://pair?host=a&token=&name=b");
}

TEST_F(PairingCodeTest, ImageIsTheCodeOfThePayload) {
  EXPECT_TRUE(code_.qrImage("a", "b", "c"));
  EXPECT_THAT(generator_.texts, ElementsAre("tovalin://pair?host=a&token=b&name=c"));
}

TEST_F(PairingCodeTest, TheSameImageIsMadeOnce) {
  code_.qrImage("a", "b", "c");
  EXPECT_TRUE(code_.qrImage("a", "b", "c"));
  EXPECT_THAT(generator_.texts, SizeIs(1));
  code_.qrImage("a", "another", "c");
  EXPECT_THAT(generator_.texts, SizeIs(2));
}

TEST_F(PairingCodeTest, ATextThatDoesNotFitGivesNoImage) {
  generator_.fits = false;
  EXPECT_FALSE(code_.qrImage("a", "b", "c"));
}

TEST_F(PairingCodeTest, WithoutAUrlThereIsNoImage) {
  const NoUrls noUrls;
  PairingCode code(noUrls, generator_);
  EXPECT_FALSE(code.payload("a", "b", "c"));
  EXPECT_FALSE(code.qrImage("a", "b", "c"));
  EXPECT_THAT(generator_.texts, SizeIs(0));
}

}  // namespace
}  // namespace tovalin
