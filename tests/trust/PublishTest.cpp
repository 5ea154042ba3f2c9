// Publishing a release directory: versions carried over or renewed by
// content, the manifest's number and its signature.
#include "trust/Ed25519.h"
#include "trust/Manifest.h"
#include "trust/ReleasePublisher.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace kau {
namespace {

using test::TempDir;

TEST(Publish, UnchangedFilesKeepTheirVersionChangedAndNewOnesGetTheNewOne)
{
    TempDir root;
    const ed25519::KeyPair vendor = ed25519::Generate();
    root.write("r1/Sampler.exe", "program 1");
    root.write("r1/Data/table.dat", "table");
    root.write("r1/gone.txt", "gone");
    PublishResult first = PublishRelease({root / "r1", "", "1.00.00", vendor.privatePem});
    ASSERT_TRUE(first.ok) << first.error;
    EXPECT_EQ(first.sequence, 1u);
    EXPECT_EQ(root.read("r1/RelInfoRemote.rel"),
              "Data/table.dat; 1.00.00\r\nSampler.exe; 1.00.00\r\ngone.txt; 1.00.00\r\n");

    root.write("r2/Sampler.exe", "program 2");
    root.write("r2/Data/table.dat", "table");
    root.write("r2/new.dll", "new");
    root.write("r2/LatestUpdate.html", "<p>notes</p>");
    PublishResult second = PublishRelease({root / "r2", root / "r1/RelInfoRemote.rel", "1.01.00", vendor.privatePem});
    ASSERT_TRUE(second.ok) << second.error;
    EXPECT_EQ(second.sequence, 2u);
    EXPECT_EQ(second.files, 3u);
    EXPECT_EQ(second.changed, 2u);
    EXPECT_EQ(root.read("r2/RelInfoRemote.rel"),
              "Data/table.dat; 1.00.00\r\nSampler.exe; 1.01.00\r\nnew.dll; 1.01.00\r\n")
        << "the notes page is listed in the manifest, not installed";

    const std::string text = root.read("r2/Release.manifest");
    EXPECT_TRUE(ed25519::Verify(vendor.publicBase64, text, root.read("r2/Release.manifest.sig")));
    const std::optional<Manifest> manifest = Manifest::Parse(text);
    ASSERT_TRUE(manifest);
    for (const char* name : {"RelInfoRemote.rel", "LatestUpdate.html", "Sampler.exe", "Data/table.dat", "new.dll"})
        EXPECT_NE(manifest->Find(name), nullptr) << name;
    EXPECT_EQ(manifest->Find("RelInfoRemote.rel")->size, root.read("r2/RelInfoRemote.rel").size());

    // Published again, unsigned: the next number, and no stale signature stays.
    PublishResult third = PublishRelease({root / "r2", root / "r2/RelInfoRemote.rel", "1.02.00", ""});
    ASSERT_TRUE(third.ok) << third.error;
    EXPECT_EQ(third.sequence, 3u);
    EXPECT_EQ(third.changed, 0u);
    EXPECT_FALSE(root.exists("r2/Release.manifest.sig"));
}

TEST(Publish, WithoutAPreviousManifestTheFilesBesideTheOldListTell)
{
    TempDir root;
    // The old list writes a directory with "\\": the new one keeps that spelling.
    root.write("old/RelInfoRemote.rel", "a.txt; 0.90.00\r\nb.txt; 0.90.00\r\nPlugins\\c.dll; 0.80.00\r\n");
    root.write("old/a.txt", "same");
    root.write("old/b.txt", "before");
    root.write("old/Plugins/c.dll", "plugin");
    root.write("new/a.txt", "same");
    root.write("new/b.txt", "after");
    root.write("new/Plugins/c.dll", "plugin");
    PublishResult result = PublishRelease({root / "new", root / "old/RelInfoRemote.rel", "1.00.00", ""});
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.sequence, 1u);
    EXPECT_EQ(root.read("new/RelInfoRemote.rel"), "Plugins\\c.dll; 0.80.00\r\na.txt; 0.90.00\r\nb.txt; 1.00.00\r\n");
    const std::optional<Manifest> manifest = Manifest::Parse(root.read("new/Release.manifest"));
    ASSERT_TRUE(manifest);
    EXPECT_NE(manifest->Find("Plugins\\c.dll"), nullptr);
}

TEST(Publish, RefusesWhatItCannotUse)
{
    TempDir root;
    root.write("r/a.txt", "a");
    EXPECT_FALSE(PublishRelease({root / "r", "", "1.0", ""}).ok);
    EXPECT_FALSE(PublishRelease({root / "missing", "", "1.00.00", ""}).ok);
    EXPECT_FALSE(PublishRelease({root / "r", root / "none.rel", "1.00.00", ""}).ok);
    const PublishResult badKey = PublishRelease({root / "r", "", "1.00.00", "not a key"});
    EXPECT_FALSE(badKey.ok);
    EXPECT_NE(badKey.error.find("not an Ed25519 private key"), std::string::npos) << badKey.error;
}

} // namespace
} // namespace kau
