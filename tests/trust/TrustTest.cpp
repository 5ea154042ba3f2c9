// The pieces of a signed release: signatures, the manifest text, the check of
// a download against its entry, and the judgement of a release with and
// without a key, rollback included.
#include "trust/Ed25519.h"
#include "trust/ListedFileCheck.h"
#include "trust/Manifest.h"
#include "trust/ReleaseTrust.h"

#include "support/ListedEntry.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace kau {
namespace {

using test::listedEntry;

TEST(Signature, OnlyTheSignedTextWithTheRightKeyIsValid)
{
    const ed25519::KeyPair vendor = ed25519::Generate();
    const ed25519::KeyPair other = ed25519::Generate();
    EXPECT_EQ(vendor.publicBase64.size(), 44u);
    EXPECT_EQ(ed25519::PublicKeyOf(vendor.privatePem), vendor.publicBase64);

    const std::string text = "KorAutoUpdate manifest 1\nsequence 3\n";
    const std::string signature = ed25519::Sign(vendor.privatePem, text);
    EXPECT_TRUE(ed25519::Verify(vendor.publicBase64, text, signature));
    EXPECT_TRUE(ed25519::Verify(vendor.publicBase64, text, signature + "\n")) << "a file's line end";

    std::string changed = text;
    changed[30] ^= 1;
    EXPECT_FALSE(ed25519::Verify(vendor.publicBase64, changed, signature));
    EXPECT_FALSE(ed25519::Verify(other.publicBase64, text, signature));
    EXPECT_FALSE(ed25519::Verify(vendor.publicBase64, text, ed25519::Sign(other.privatePem, text)));
    EXPECT_FALSE(ed25519::Verify(vendor.publicBase64, text, ""));
    EXPECT_FALSE(ed25519::Verify(vendor.publicBase64, text, signature.substr(4)));
    EXPECT_FALSE(ed25519::Verify("not a key", text, signature));
    EXPECT_TRUE(ed25519::Sign("not a key", text).empty());
}

TEST(ManifestText, ReadsBackWhatItWritesAndNothingElse)
{
    Manifest manifest;
    manifest.sequence = 7;
    manifest.entries = {listedEntry("RelInfoRemote.rel", "a; 1.00.00\r\n"),
                        listedEntry("Sub dir/with blanks.dll", "x")};
    const std::string text = manifest.Text();
    const std::optional<Manifest> back = Manifest::Parse(text);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->sequence, 7u);
    ASSERT_EQ(back->entries.size(), 2u);
    EXPECT_EQ(back->entries[1].name, "Sub dir/with blanks.dll");
    EXPECT_EQ(back->entries[1].size, 1u);
    ASSERT_NE(back->Find("RelInfoRemote.rel"), nullptr);
    EXPECT_EQ(back->Find("relinforemote.rel"), nullptr);

    const std::string hash(64, 'a');
    const struct {
        const char* what;
        std::string text;
    } bad[] = {
        {"empty", ""},
        {"no header", "sequence 1\n"},
        {"no sequence", "KorAutoUpdate manifest 1\n"},
        {"cut off", text.substr(0, text.size() - 1)},
        {"two sequences", "KorAutoUpdate manifest 1\nsequence 1\nsequence 2\n"},
        {"negative", "KorAutoUpdate manifest 1\nsequence -1\n"},
        {"too large", "KorAutoUpdate manifest 1\nsequence 4294967296\n"},
        {"short hash", "KorAutoUpdate manifest 1\nsequence 1\nfile abc 1 x\n"},
        {"upper-case hash", "KorAutoUpdate manifest 1\nsequence 1\nfile " + std::string(64, 'A') + " 1 x\n"},
        {"no size", "KorAutoUpdate manifest 1\nsequence 1\nfile " + hash + " x\n"},
        {"no name", "KorAutoUpdate manifest 1\nsequence 1\nfile " + hash + " 1 \n"},
        {"twice", "KorAutoUpdate manifest 1\nsequence 1\nfile " + hash + " 1 x\nfile " + hash + " 2 x\n"},
        {"unknown line", "KorAutoUpdate manifest 1\nsequence 1\nsize 3\n"},
        {"CR LF", "KorAutoUpdate manifest 1\r\nsequence 1\r\n"},
    };
    for (const auto& c : bad)
        EXPECT_FALSE(Manifest::Parse(c.text)) << c.what;
}

TEST(ListedFile, OnlyTheListedBytesPassAndGrowthStopsAtOnce)
{
    const std::string content = "0123456789";
    {
        ListedFileCheck check(listedEntry("f", content));
        EXPECT_TRUE(check.Accept(content.data(), 4));
        EXPECT_TRUE(check.Accept(content.data() + 4, 6));
        EXPECT_TRUE(check.Complete());
    }
    {
        ListedFileCheck check(listedEntry("f", content));
        std::string changed = content;
        changed[9] = 'x';
        EXPECT_TRUE(check.Accept(changed.data(), changed.size()));
        EXPECT_FALSE(check.Complete()) << "same size, one byte changed";
    }
    {
        ListedFileCheck check(listedEntry("f", content));
        EXPECT_TRUE(check.Accept(content.data(), content.size()));
        EXPECT_FALSE(check.Accept("x", 1)) << "one byte past the listed size";
    }
    {
        ListedFileCheck check(listedEntry("f", content));
        EXPECT_TRUE(check.Accept(content.data(), 9));
        EXPECT_FALSE(check.Complete()) << "short";
    }
    UnlistedFileCheck unlisted;
    EXPECT_FALSE(unlisted.Accept("x", 1));
    EXPECT_FALSE(unlisted.Complete());
}

class ReleaseJudgement : public ::testing::Test {
protected:
    std::string manifestText(std::uint32_t sequence) const
    {
        Manifest manifest;
        manifest.sequence = sequence;
        manifest.entries = {listedEntry("a.dll", "A")};
        return manifest.Text();
    }

    const ed25519::KeyPair m_vendor = ed25519::Generate();
    test::TempDir m_config;
    test::ScopedEnv m_configHome{"XDG_CONFIG_HOME", m_config.str()};
};

TEST_F(ReleaseJudgement, WithAKeyOnlyASignedCurrentManifestPasses)
{
    ReleaseTrust trust("Sampler", m_vendor.publicBase64);
    const std::string five = manifestText(5);
    const std::string signedFive = ed25519::Sign(m_vendor.privatePem, five);

    EXPECT_FALSE(trust.Judge(std::nullopt, std::nullopt));
    EXPECT_NE(trust.reason().find("no Release.manifest"), std::string::npos) << trust.reason();
    EXPECT_FALSE(trust.Judge(five, std::nullopt));
    EXPECT_NE(trust.reason().find("no Release.manifest.sig"), std::string::npos) << trust.reason();
    EXPECT_FALSE(trust.Judge(five, ed25519::Sign(ed25519::Generate().privatePem, five)));
    EXPECT_NE(trust.reason().find("not a valid signature"), std::string::npos) << trust.reason();
    EXPECT_FALSE(trust.hasManifest());
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 0u) << "nothing accepted yet";

    ASSERT_TRUE(trust.Judge(five, signedFive)) << trust.reason();
    EXPECT_TRUE(trust.reason().empty());
    EXPECT_TRUE(trust.hasManifest());
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 5u);
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Other"), 0u) << "per product";

    // The same release again is fine; an older one is a rollback.
    EXPECT_TRUE(trust.Judge(five, signedFive));
    const std::string four = manifestText(4);
    EXPECT_FALSE(trust.Judge(four, ed25519::Sign(m_vendor.privatePem, four)));
    EXPECT_NE(trust.reason().find("rollback"), std::string::npos) << trust.reason();
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 5u);
    EXPECT_TRUE(ReleaseTrust("Other", m_vendor.publicBase64).Judge(four, ed25519::Sign(m_vendor.privatePem, four)));
}

TEST_F(ReleaseJudgement, WithoutAKeyAPresentManifestStillGivesTheChecks)
{
    ReleaseTrust trust("Sampler", "");
    ASSERT_TRUE(trust.Judge(std::nullopt, std::nullopt));
    EXPECT_FALSE(trust.hasManifest());
    EXPECT_EQ(trust.CheckOf("a.dll"), nullptr) << "no manifest, no checks";

    ASSERT_TRUE(trust.Judge(manifestText(2), std::nullopt));
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 0u) << "an unsigned number proves nothing";
    auto listed = trust.CheckOf("a.dll");
    ASSERT_NE(listed, nullptr);
    EXPECT_TRUE(listed->Accept("A", 1));
    EXPECT_TRUE(listed->Complete());
    auto unlisted = trust.CheckOf("b.dll");
    ASSERT_NE(unlisted, nullptr);
    EXPECT_FALSE(unlisted->Accept("B", 1));

    EXPECT_FALSE(trust.Judge(std::string("garbage\n"), std::nullopt));
}

} // namespace
} // namespace kau
