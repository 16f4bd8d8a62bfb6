#include <gtest/gtest.h>

#include "tests/e2e/x_session.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // gtest owns and deletes the environment.
    ::testing::AddGlobalTestEnvironment(new scrawlet::e2e::XSessionEnvironment);
    return RUN_ALL_TESTS();
}
