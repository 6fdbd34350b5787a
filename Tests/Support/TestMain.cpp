#include "Support/TestEnvironment.h"

#include <gtest/gtest.h>

/// Runs the tests in a private HOME, in a zone that is not UTC, and without an application object: a test
/// that needs one makes it.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    KVBase::Tests::PrivateEnvironment environment;
    return RUN_ALL_TESTS();
}
