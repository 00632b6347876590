#include "Operation.h"

namespace sonvale {

namespace {

class BlockOperation final : public Operation {
public:
    explicit BlockOperation(std::function<void(const Operation&)> block) : block_(std::move(block)) {}
    void main() override { block_(*this); }

private:
    std::function<void(const Operation&)> block_;
};

}  // namespace

std::shared_ptr<Operation> Operation::fromBlock(std::function<void(const Operation&)> block) {
    return std::make_shared<BlockOperation>(std::move(block));
}

}  // namespace sonvale
