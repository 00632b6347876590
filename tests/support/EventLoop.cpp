#include "EventLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <memory>

namespace {

class ApplicationEnvironment : public testing::Environment {
public:
    void SetUp() override { app_ = std::make_unique<QCoreApplication>(argc_, argv_); }
    void TearDown() override { app_.reset(); }

private:
    int argc_ = 1;
    char name_[13] = "sonvale_test";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QCoreApplication> app_;
};

const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new ApplicationEnvironment);

}  // namespace

bool spinUntil(const std::function<bool()>& done, double seconds) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > seconds * 1000) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
