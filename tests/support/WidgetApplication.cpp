#include <QApplication>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

// A QApplication for the whole test process, on the offscreen platform unless the caller chose
// one (a real X server shows the windows while a test runs).
class WidgetEnvironment : public testing::Environment {
public:
    void SetUp() override {
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        app_ = std::make_unique<QApplication>(argc_, argv_);
    }
    void TearDown() override { app_.reset(); }

private:
    int argc_ = 1;
    char name_[13] = "sonvale_test";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> app_;
};

const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new WidgetEnvironment);

}  // namespace
