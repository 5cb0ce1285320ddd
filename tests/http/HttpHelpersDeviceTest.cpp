#include "netweft/base/system/qxIoDeviceByteContainer.h"
#include "tests/http/HelpersFixture.h"

#include <stdexcept>

namespace qx::test {
namespace {

/// Counts what it is given, and behaves as told.
class OddDevice final : public qxIoDevice {
 public:
  explicit OddDevice(bool throws) : mThrows(throws) {}

  uint64 readBytes(char*, uint64) override { return 0; }
  uint64 writeBytes(const char*, uint64 n) override {
    if (mThrows) throw std::runtime_error("disk full");
    given += n;
    return 0;
  }
  bool hasError() const override { return given != 0; }
  bool atEnd() const override { return true; }
  bool seekg(int64, SeekStart) override { return false; }
  bool seekp(int64, SeekStart) override { return false; }
  uint64 tellg() override { return 0; }
  uint64 tellp() override { return 0; }

  uint64 given = 0;

 private:
  bool mThrows;
};

/// The sink that is a device.
class HttpHelpersDeviceTest : public HelpersFixture {};

TEST_F(HttpHelpersDeviceTest, ADeviceGetsTheBodyBesideTheString) {
  bytes stored;
  qxIoDeviceByteContainer<bytes> device(&stored);
  string text;
  HttpResult result;
  result.content = &text;
  result.contentDevice = &device;
  server.queue(Reply().sendInPieces(Reply::HttpText(200, "0123456789"), 7));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_EQ(string(stored.begin(), stored.end()), "0123456789");
  EXPECT_EQ(text, "0123456789");
}

TEST_F(HttpHelpersDeviceTest, ADeviceIsNotEmptiedBeforeTheCall) {
  bytes stored;
  qxIoDeviceByteContainer<bytes> device(&stored);
  HttpResult result;
  result.contentDevice = &device;
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_EQ(string(stored.begin(), stored.end()), "hellohello");
  EXPECT_EQ(result.receivedBytes, 5u);
}

TEST_F(HttpHelpersDeviceTest, ADeviceThatTakesNothingDoesNotStopTheTransfer) {
  OddDevice device(false);
  HttpResult result;
  result.contentDevice = &device;
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_EQ(device.given, 5u);
  EXPECT_FALSE(device.good());
}

TEST_F(HttpHelpersDeviceTest, AnExceptionOfADeviceReachesTheCaller) {
  OddDevice device(true);
  connection.editConnectionParameters().maxRedirects = 5;
  const http::ConnectionParameters own;
  string text;
  HttpResult result;
  result.contentDevice = &device;
  EXPECT_THROW(HttpHelpers::HttpGetJson(connection, url(), text, &result, &own), std::runtime_error);
  EXPECT_EQ(connection.getConnectionParameters().maxRedirects, 5);
  EXPECT_EQ(result.content, nullptr);
  EXPECT_EQ(result.httpReturnCode, 200u);
}

TEST_F(HttpHelpersDeviceTest, AConnectionWorksOnAfterAnException) {
  OddDevice device(true);
  HttpResult result;
  result.contentDevice = &device;
  EXPECT_THROW(HttpHelpers::HttpGet(connection, url(), &result), std::runtime_error);
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url()));
}

}  // namespace
}  // namespace qx::test
