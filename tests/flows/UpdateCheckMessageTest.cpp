#include "flows/UpdateCheck.h"

#include <gtest/gtest.h>

using kau::UpdateCheck;

TEST(UpdateCheckMessage, UpToDateTenFilesListedAndMoreSummarised)
{
    const std::string line = std::string(58, '-');
    const std::string head = " Message from: <KorAutoUpdate>-Tool  V 3.0.0\n" + line + "\n\n";
    const std::string tail = "\n" + line + "\n\n Click <yes> to see the KORVANE update notes \n"
                             " and to start the installation procedure ...";
    EXPECT_EQ(UpdateCheck::composeMessage(false, {}, {}),
              head + " Your programm is working with the latest version!\n\n" + tail);
    std::vector<std::string> names, versions;
    std::string ten = " There are some newer files on the server:\n\n";
    for (int i = 0; i < 11; ++i) {
        names.push_back("f" + std::to_string(i));
        versions.push_back("1.00.0" + std::to_string(i % 10));
        ten += i < 10 ? "   " + versions.back() + "\t\t->> " + names.back() + " \n" : "";
    }
    EXPECT_EQ(UpdateCheck::composeMessage(true, names, versions), head + ten + " ... and more ... \n" + tail);
    names.pop_back();
    versions.pop_back();
    EXPECT_EQ(UpdateCheck::composeMessage(true, names, versions), head + ten + tail);
}
