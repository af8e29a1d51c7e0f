// Refusing memory to a call, one request after another.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/faults.h"

namespace ztk_test {

// Calls with the first request refused (and all later ones, if `refuse` is FailAlways), then with
// the second and so on, until the call gets to no refusal. It gives whether it was complete, which
// it must be then, and releases all that it requests.
template <class Call>
void RefuseEach(void (*refuse)(long long), Call call) {
    bool reached = true;
    for (int n = 0; reached; ++n) {
        SCOPED_TRACE("request " + std::to_string(n));
        const long long live = LiveBlocks(), before = Requests();
        refuse(n);
        const bool complete = call();
        reached = Requests() - before > n;
        StopFailing();
        EXPECT_TRUE(complete || reached);
        EXPECT_TRUE(reached || n > 0) << "it made no request";
        ASSERT_EQ(LiveBlocks(), live);
    }
}

}  // namespace ztk_test
