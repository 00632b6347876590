#include "SampleRing.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using sonvale::SampleRing;

namespace {

TEST(SampleRing, AProducerAndAConsumerThreadPassEverySampleInOrderAcrossTheWrap) {
    // An odd capacity and odd block sizes, so that pushes and pops straddle the wrap in every way.
    SampleRing ring(1021);
    constexpr std::uint32_t kCount = 2'000'000;
    std::thread producer([&] {
        std::vector<float> block(333);
        std::uint32_t next = 0;
        while (next < kCount) {
            const std::size_t n = std::min<std::size_t>(block.size(), kCount - next);
            for (std::size_t i = 0; i < n; ++i) block[i] = static_cast<float>(next + i);
            std::size_t pushed = 0;
            while (pushed < n) {
                pushed += ring.push(block.data() + pushed, n - pushed);
                if (pushed < n) std::this_thread::yield();
            }
            next += static_cast<std::uint32_t>(n);
        }
        ring.markEndOfInput();
    });
    std::vector<float> block(257);
    std::uint32_t expected = 0;
    std::uint32_t wrong = 0;
    while (!(ring.endOfInput() && ring.readable() == 0)) {
        const std::size_t n = ring.pop(block.data(), block.size());
        for (std::size_t i = 0; i < n; ++i, ++expected)
            if (block[i] != static_cast<float>(expected)) ++wrong;
        if (n == 0) std::this_thread::yield();
    }
    producer.join();
    EXPECT_EQ(expected, kCount);
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(ring.consumed(), kCount);
}

TEST(SampleRing, TruncateDropsOnlyWhatTheConsumerHasNotReached) {
    SampleRing ring(8);
    const float in[6] = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(ring.push(in, 6), 6u);
    float out[8] = {};
    ASSERT_EQ(ring.pop(out, 3), 3u);
    ring.setBoundary(4);
    EXPECT_FALSE(ring.truncate(2));  // already taken
    EXPECT_TRUE(ring.truncate(4));
    EXPECT_EQ(ring.written(), 4u);
    EXPECT_EQ(ring.pop(out, 8), 1u);
    EXPECT_EQ(out[0], 4);
    ring.clearBoundary(5);  // not where it stands: kept
    EXPECT_EQ(ring.boundary(), 4u);
    ring.clearBoundary(4);
    EXPECT_EQ(ring.boundary(), SampleRing::kNoBoundary);
    ring.reset();
    EXPECT_EQ(ring.written(), 0u);
    EXPECT_FALSE(ring.endOfInput());
}

}  // namespace
