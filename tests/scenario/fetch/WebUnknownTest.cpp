// What row and window show of a file whose length is not known.
#include <gtest/gtest.h>

#include "WebApp.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

class WebUnknown : public testing::Test, public WebApp {
 protected:
  WebUnknown() : origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", SimContent::Generated(5'000'000, 7));
    origin.Always({.wire = {.bytesPerSecond = 500'000}, .ignoreRange = true, .chunked = true});
    Start();
    Add("https://o.example/a.bin");
  }
  TransferWindow& Window() { return dynamic_cast<TransferWindow&>(*program().TransferWindowAt(1)); }
  const ListRow& Row() { return window().ListView1.Rows().at(0); }
  SimHttpServer origin;
};

TEST_F(WebUnknown, LengthHasNoFigureAnywhere) {
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  sim.RunFor(1000);
  EXPECT_TRUE(Window().PB.Busy());
  EXPECT_LT(Window().PB.Value(), 0);
  EXPECT_EQ(Window().Label1.Caption(), "");
  EXPECT_EQ(Window().Est.Caption(), "");
  EXPECT_EQ(Window().Caption().find('%'), std::string::npos);
  EXPECT_NE(Window().Caption().find("a.bin"), std::string::npos);
  EXPECT_EQ(Row().subItems.at(1), "");
  EXPECT_EQ(Row().subItems.at(2).find('%'), std::string::npos);
  EXPECT_EQ(Row().subItems.at(4), "");
}

TEST_F(WebUnknown, BarRestsInAPause) {
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  const std::string id = app.List().at(0).id;
  sim.Do([&] { EXPECT_EQ(app.Pause(id), ""); });
  sim.RunFor(1000);
  EXPECT_FALSE(Window().PB.Busy());
  EXPECT_LT(Window().PB.Value(), 0);
}

TEST_F(WebUnknown, LengthIsKnownAtTheEnd) {
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  EXPECT_FALSE(Window().PB.Busy());
  EXPECT_DOUBLE_EQ(Window().PB.Value(), 100.0);
  EXPECT_EQ(Web().size, 5'000'000);
  EXPECT_NE(Window().Label1.Caption(), "");
}

TEST_F(WebUnknown, KnownLengthHasAFigureAndABarThatGrows) {
  origin.File("/b.bin", SimContent::Generated(5'000'000, 7));
  origin.Always({.wire = {.bytesPerSecond = 500'000}});
  Add("https://o.example/b.bin");
  ASSERT_TRUE(RunUntilReceived(1'000'000, 2));
  sim.RunFor(1000);
  auto& known = dynamic_cast<TransferWindow&>(*program().TransferWindowAt(2));
  EXPECT_FALSE(known.PB.Busy());
  EXPECT_GT(known.PB.Value(), 10);
  EXPECT_NE(known.Label1.Caption(), "");
  EXPECT_NE(known.Est.Caption(), "");
}

}  // namespace
}  // namespace pellora
