// Signed releases against the real FTP server: what a configured key lets in, every tampering it
// keeps out with the installation as it was, and the manifest's checks without a key.
#include "UpdateRunTestSupport.h"
#include "flows/ReleaseNotesFetch.h"
#include "flows/UpdateCheck.h"
#include "flows/UpdateRun.h"
#include "server/CFtpFileClient.h"
#include "support/FtpServer.h"
#include "support/ListedEntry.h"
#include "support/ScopedEnv.h"
#include "support/ScriptedBox.h"
#include "trust/Ed25519.h"
#include "trust/ReleaseTrust.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Outcome = UpdateRun::Outcome;
using Lines = std::vector<std::string>;

namespace {

// The names as the sample's revision file spells them.
const Lines kReleased = {"RelInfoRemote.rel", "LatestUpdate.html", "Sampler.exe", "sampler.chm", "Plugins\\Filter.dll", "Readme.txt"};

struct SignedReleaseTest : ::testing::Test, RunRecord {
    SampleProduct product;
    FtpServer server{product.server.path()};
    ScriptedBox box;
    TempDir config;
    const ed25519::KeyPair vendor = ed25519::Generate();
    const std::string oldLocal = product.install.read("RelInfoLocal.rel");
    ScopedEnv configHome{"XDG_CONFIG_HOME", config.str()}, publicKey{"KORAUTOUPDATE_PUBLIC_KEY", vendor.publicBase64};

    SignedReleaseTest() { product.server.write("Sampler/LatestUpdate.html", "<p>release 2</p>"); }

    // The manifest of the server's files as they stand now (or of the entries given), signed by key (none: unsigned).
    void publish(std::uint32_t sequence, const std::string& key, std::vector<ManifestEntry> entries = {})
    {
        for (const std::string& name : entries.empty() ? kReleased : Lines{}) {
            std::string path = name;
            std::replace(path.begin(), path.end(), '\\', '/');
            entries.push_back(listedEntry(name, product.server.read("Sampler/" + path)));
        }
        const Manifest manifest{sequence, entries};
        product.server.write("Sampler/Release.manifest", manifest.Text());
        fs::remove(product.server / "Sampler/Release.manifest.sig");
        if (!key.empty())
            product.server.write("Sampler/Release.manifest.sig", ed25519::Sign(key, manifest.Text()) + "\n");
    }
    UpdateRun::Result run()
    {
        clear();
        return UpdateRun(*this, *this).run(SampleProduct::kKey, product.install.str(), false);
    }
    // The installation as it was before any run, restore directories aside.
    bool installUntouched() const
    {
        return product.install.read("Sampler.exe") == "program release 1\n"
               && product.install.read("sampler.chm") == "help release 1\n"
               && product.install.read("RelInfoLocal.rel") == oldLocal && !product.install.exists("Readme.txt");
    }
};

} // namespace

TEST_F(SignedReleaseTest, ASignedReleaseInstallsAndItsNumberIsKept)
{
    publish(4, vendor.privatePem);
    const UpdateRun::Result result = run();
    EXPECT_EQ(result.outcome, Outcome::Transferred) << result.reason;
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Readme.txt"}, true));
    for (const std::string name : {"Sampler.exe", "sampler.chm", "Readme.txt"})
        EXPECT_EQ(product.install.read(name), product.server.read("Sampler/" + name)) << name;
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 4u);
    EXPECT_FALSE(product.install.exists("Release.manifest")) << "read in memory, never put down";
}

TEST_F(SignedReleaseTest, AnUntrustedReleaseIsAnUnusableServerAndChangesNothing)
{
    const struct {
        const char* what;
        std::function<void()> arrange;
        const char* reason;
    } cases[] = {
        {"no manifest", [&] { fs::remove(product.server / "Sampler/Release.manifest"); }, "the server has no Release.manifest"},
        {"another key", [&] { publish(5, ed25519::Generate().privatePem); }, "is not a valid signature by the configured key"},
        {"replayed older release", [&] { publish(2, vendor.privatePem); }, "release 2 is older than release 3 accepted before (rollback)"},
    };
    // Release 3 was accepted once (by the check, which installs nothing).
    publish(3, vendor.privatePem);
    CFtpFileClient client;
    UpdateCheck check(client, product.install.str(), nullptr);
    EXPECT_EQ(check.run("Sampler", product.install.str(), "Sampler.exe", true), UpdateCheck::Outcome::NewFiles);
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 3u);

    for (const auto& c : cases) {
        c.arrange();
        const UpdateRun::Result result = run();
        EXPECT_EQ(result.outcome, Outcome::NoRevisionFile) << c.what;
        EXPECT_NE(result.reason.find(c.reason), std::string::npos) << c.what << ": " << result.reason;
        EXPECT_EQ(lines, updateLog(3, {})) << c.what;
        EXPECT_TRUE(result.restoreDirectory.empty()) << c.what;
        EXPECT_TRUE(installUntouched()) << c.what;

        // The check says what it says for an unusable server, and why.
        const std::size_t boxes = box.count();
        EXPECT_EQ(check.run("Sampler", product.install.str(), "Sampler.exe", true), UpdateCheck::Outcome::ServerUnusable) << c.what;
        EXPECT_NE(check.refusal().find(c.reason), std::string::npos) << c.what;
        ASSERT_EQ(box.count(), boxes + 1);
        EXPECT_EQ(box.shown().back().text, "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!");
    }
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 3u);
}

TEST_F(SignedReleaseTest, AFileNotAsListedFailsAloneAndTheRestArrives)
{
    publish(1, vendor.privatePem);
    // One byte changed, same size; and one served without end.
    std::string program = product.server.read("Sampler/Sampler.exe");
    program[3] ^= 1;
    product.server.write("Sampler/Sampler.exe", program);
    server.serveEndlessly("Readme.txt", true);

    const UpdateRun::Result result = run();
    EXPECT_EQ(result.outcome, Outcome::Transferred);
    EXPECT_EQ(result.failedFiles, 2u);
    EXPECT_EQ(result.reason, "Sampler.exe did not arrive: " + product.install / "Sampler.exe" + ": not its listed size and SHA-256");
    EXPECT_EQ(lines, updateLog(5, {" fail!    Sampler.exe", "  ok!    sampler.chm", " fail!    Readme.txt"}, true));
    EXPECT_EQ(product.install.read("sampler.chm"), product.server.read("Sampler/sampler.chm"));
    // Nothing of either bad file under a real name or half-written beside it; the installed program stays.
    EXPECT_FALSE(product.install.exists("Readme.txt"));
    const auto files = filesBelow(product.install.path());
    for (const auto& [name, content] : files) {
        EXPECT_NE(content, program) << name;
        EXPECT_EQ(name.find(".part"), std::string::npos) << name;
    }
    EXPECT_EQ(product.install.read("Sampler.exe"), "program release 1\n");
    EXPECT_FALSE(fs::exists(fs::path(result.restoreDirectory) / "Sampler.exe")) << "nothing replaced, nothing kept";
    EXPECT_EQ(product.install.read("RelInfoLocal.rel").find("3.10.02"), std::string::npos) << "a failed file is offered again";
}

TEST_F(SignedReleaseTest, WithoutAKeyAManifestStillChecksEveryFile)
{
    ::unsetenv("KORAUTOUPDATE_PUBLIC_KEY");
    publish(1, ""); // no signature is asked for
    product.server.write("Sampler/RelInfoRemote.rel", product.server.read("Sampler/RelInfoRemote.rel") + "Unlisted.txt; 1.0\r\n");
    product.server.write("Sampler/Unlisted.txt", "unlisted");
    const UpdateRun::Result result = run();
    EXPECT_EQ(result.outcome, Outcome::RevisionFileFailed) << "the revision file changed after its manifest";
    EXPECT_TRUE(installUntouched());
    EXPECT_FALSE(product.install.exists("RelInfoRemote.rel") || product.install.exists("Unlisted.txt"));

    publish(1, "");
    product.server.write("Sampler/sampler.chm", "help release 2, but not as listed\n");
    EXPECT_EQ(run().outcome, Outcome::Transferred);
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", " fail!    sampler.chm", "  ok!    Readme.txt", " fail!    Unlisted.txt"}, true));
    EXPECT_FALSE(product.install.exists("Unlisted.txt"));
    EXPECT_EQ(ReleaseTrust::AcceptedSequence("Sampler"), 0u);
}

TEST_F(SignedReleaseTest, TheNotesPageIsShownOnlyAsListed)
{
    publish(1, vendor.privatePem);
    CFtpFileClient client;
    std::string shown;
    const auto show = [&](const std::string& page) { shown = readFile(page); };
    ASSERT_TRUE(FetchReleaseNotes(client, "Sampler", product.install.str(), show));
    EXPECT_EQ(shown, "<p>release 2</p>");

    shown.clear();
    product.server.write("Sampler/LatestUpdate.html", "<p>release 2</p><script>evil()</script>");
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", product.install.str(), show));
    EXPECT_EQ(shown, "");
    EXPECT_EQ(product.install.read("LatestUpdate.html"), "<p>release 2</p>") << "the page shown before stays";

    fs::remove(product.server / "Sampler/Release.manifest.sig");
    product.server.write("Sampler/LatestUpdate.html", "<p>release 2</p>");
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", product.install.str(), show)) << "unsigned";
    EXPECT_EQ(shown, "");
}

TEST_F(SignedReleaseTest, ASignatureMakesNoHostileNameSafe)
{
    // The vendor's key signs names that lead out of the installation: they are refused all the same.
    TempDir outside;
    outside.write("victim.txt", "victim\n");
    const std::string out = outside.path().filename().string();
    fs::create_directory_symlink(outside.path(), product.install / "Shared");
    const Lines hostile = {"../" + out + "/victim.txt", outside / "victim.txt", "a\\..\\..\\" + out + "\\victim.txt",
                           "Shared/victim.txt"};
    Lines remote = {"Sampler.exe; 3.10.02"};
    for (const std::string& name : hostile)
        remote.push_back(name + "; 1.0");
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile(remote));
    std::vector<ManifestEntry> listed = {listedEntry("RelInfoRemote.rel", product.server.read("Sampler/RelInfoRemote.rel")),
                                         listedEntry("Sampler.exe", product.server.read("Sampler/Sampler.exe"))};
    // Each served where the client would ask for it, and listed as served.
    const std::string evil = "evil!!\n";
    for (const std::string& at : Lines{out + "/victim.txt", "Sampler/Shared/victim.txt", "Sampler" + outside / "victim.txt"})
        product.server.write(at, evil);
    for (const std::string& name : hostile)
        listed.push_back(listedEntry(name, evil));
    publish(1, vendor.privatePem, listed);

    const UpdateRun::Result result = run();
    EXPECT_EQ(result.outcome, Outcome::Transferred) << result.reason;
    EXPECT_EQ(result.failedFiles, hostile.size());
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    EXPECT_EQ(filesBelow(outside.path()), (std::map<std::string, std::string>{{"victim.txt", "victim\n"}}));
}
