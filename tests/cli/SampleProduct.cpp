#include "SampleProduct.h"

namespace kau::test {

SampleProduct::SampleProduct(const TempDir& dir)
    : installDir(dir / "install"), serverRoot(dir / "server"),
      productDir(dir / "server/Sampler"), program(dir / "install/Sampler.exe")
{
    dir.write("install/Sampler.exe", "Sampler release 1\n");
    dir.write("install/sampler.chm", "help release 1\n");
    dir.write("install/Plugins/Filter.dll", "filter 2.00.07\n");
    dir.write("install/RelInfoLocal.rel",
              "Sampler.exe; 3.10.01\r\nPlugins\\Filter.dll; 2.00.07\r\nsampler.chm; 1.03.00\r\n");

    dir.write("server/Sampler/Sampler.exe", "Sampler release 2\n");
    dir.write("server/Sampler/sampler.chm", "help release 2\n");
    dir.write("server/Sampler/Plugins/Filter.dll", "filter 2.00.07\n");
    dir.write("server/Sampler/Readme.txt", "read me\n");
    dir.write("server/Sampler/RelInfoRemote.rel",
              "; files of the Sampler folder\r\n\r\nSampler.exe; 3.10.02\r\n"
              "sampler.chm;1.04.00;help pages\r\nPlugins\\Filter.dll  ;  2.00.07 ;\r\n"
              "Readme.txt");
    dir.write("server/Sampler/LatestUpdate.html",
              "<html><head><title>Sampler 3.10.02</title></head><body>"
              "<p>New in this release:</p><ul><li>faster &amp; smaller</li>"
              "<li>new help</li></ul></body></html>");
}

} // namespace kau::test
