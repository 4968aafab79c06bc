// GoogleTest programs start in a fresh private profile and remove it at the end.

#include <gtest/gtest.h>

#include "Sandbox.h"

int main(int argc, char** argv)
{
    if (!testing_support::enterSandbox())
        return 2;
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    testing_support::leaveSandbox();
    return result;
}
