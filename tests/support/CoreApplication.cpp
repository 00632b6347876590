#include <QCoreApplication>

#include <gtest/gtest.h>

#include <memory>

namespace {

// A QCoreApplication for the whole test process.
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
