#include "recent_items.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vantrel::kelvane::probe {
namespace {

TEST(RecentItems, KeepsTheLastOnesOldestFirstAndStartsAfreshAfterATake) {
    recent_items<std::string> ring(3);
    EXPECT_TRUE(ring.take().empty());
    for (const char* line : {"a", "b"}) {
        ring.push(line);
    }
    EXPECT_EQ(ring.take(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(ring.size(), 0u);
    for (const char* line : {"c", "d", "e", "f", "g"}) {
        ring.push(line);
    }
    EXPECT_EQ(ring.size(), 3u);
    EXPECT_EQ(ring.take(), (std::vector<std::string>{"e", "f", "g"})) << "the oldest are dropped";
    ring.push("h");
    EXPECT_EQ(ring.take(), (std::vector<std::string>{"h"}));
}

} // namespace
} // namespace vantrel::kelvane::probe
