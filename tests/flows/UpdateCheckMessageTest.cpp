#include "flows/UpdateCheck.h"

#include <gtest/gtest.h>

TEST(UpdateCheckMessage, TenFilesListedAndMoreSummarised)
{
    const std::string line = "\n" + std::string(58, '-') + "\n\n";
    std::vector<std::string> names, versions;
    std::string ten = " Message from: <KorAutoUpdate>-Tool  V 3.0.0" + line + " There are some newer files on the server:\n\n";
    for (int i = 0; i < 11; ++i) {
        names.push_back("f" + std::to_string(i));
        versions.push_back("1.00.0" + std::to_string(i % 10));
        ten += i < 10 ? "   " + versions.back() + "\t\t->> " + names.back() + " \n" : "";
    }
    const std::string tail = line + " Click <yes> to see the KORVANE update notes \n and to start the installation procedure ...";
    EXPECT_EQ(kau::UpdateCheck::composeMessage(true, names, versions), ten + " ... and more ... \n" + tail);
    names.pop_back(), versions.pop_back();
    EXPECT_EQ(kau::UpdateCheck::composeMessage(true, names, versions), ten + tail);
}
