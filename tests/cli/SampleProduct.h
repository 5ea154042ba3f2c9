#pragma once
// The sample product of the tests: an installation at release 1 and the
// server directory of release 2 (Sampler.exe, sampler.chm,
// Plugins\Filter.dll, Readme.txt, LatestUpdate.html).
#include "support/TempDir.h"

#include <string>

namespace kau::test {

inline constexpr const char* kProduct = "Sampler";
inline constexpr const char* kFtpUser = "tester";
inline constexpr const char* kFtpPassword = "secret";

struct SampleProduct {
    explicit SampleProduct(const TempDir& dir);

    std::string installDir;   // dir/install
    std::string serverRoot;   // dir/server, holding the product's directory
    std::string productDir;   // dir/server/Sampler
    std::string program;      // dir/install/Sampler.exe
};

} // namespace kau::test
