#include "flows/UpdateCheck.h"

#include <gtest/gtest.h>

using kau::UpdateCheck;

namespace {
const std::string kHead = " Message from: <KorAutoUpdate>-Tool  V 3.0.0\n"
                          "----------------------------------------------------------\n\n";
const std::string kTail = "\n----------------------------------------------------------\n\n"
                          " Click <yes> to see the KORVANE update notes \n"
                          " and to start the installation procedure ...";
} // namespace

TEST(UpdateCheckMessage, UpToDate)
{
    EXPECT_EQ(UpdateCheck::composeMessage(false, {}, {}),
              kHead + " Your programm is working with the latest version!\n\n" + kTail);
}

TEST(UpdateCheckMessage, TenFilesAreListedAndMoreAreSummarised)
{
    std::vector<std::string> names, versions;
    std::string ten;
    for (int i = 0; i < 11; ++i) {
        names.push_back("f" + std::to_string(i));
        versions.push_back("1.00.0" + std::to_string(i % 10));
        if (i < 10)
            ten += "   " + versions.back() + "\t\t->> " + names.back() + " \n";
    }
    const std::string listHead = " There are some newer files on the server:\n\n";
    EXPECT_EQ(UpdateCheck::composeMessage(true, names, versions),
              kHead + listHead + ten + " ... and more ... \n" + kTail);
    names.pop_back();
    versions.pop_back();
    EXPECT_EQ(UpdateCheck::composeMessage(true, names, versions), kHead + listHead + ten + kTail);
}
