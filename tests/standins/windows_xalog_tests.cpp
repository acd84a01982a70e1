// How a process ends on Windows, and its log with it.
#include "tests/standins/xalog_test.h"

namespace tests {
namespace {

TEST_F(XalogAtTheEnd, LinesReachTheFileOfAProcessWithAFault) {
    EXPECT_DEATH(LogAndEnd([] {
                     volatile int* volatile nowhere = nullptr;
                     *nowhere = 1;
                 }),
                 "");
    ExpectAllLinesAnd({});
}

}  // namespace
}  // namespace tests
