// Runs a fuzz target over the files of its corpus without libFuzzer, so that the regular
// test suite replays every committed input on every build.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void Collect(const std::string& sPath, std::vector<std::string>& vecFiles)
{
    struct stat st {};
    if (stat(sPath.c_str(), &st) != 0) return;
    if (S_ISREG(st.st_mode)) {
        vecFiles.push_back(sPath);
        return;
    }
    if (!S_ISDIR(st.st_mode)) return;
    DIR* pDir = opendir(sPath.c_str());
    if (pDir == nullptr) return;
    while (dirent* pEntry = readdir(pDir)) {
        const std::string sName = pEntry->d_name;
        if (sName == "." || sName == "..") continue;
        Collect(sPath + "/" + sName, vecFiles);
    }
    closedir(pDir);
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> vecFiles;
    for (int i = 1; i < argc; ++i) Collect(argv[i], vecFiles);
    std::sort(vecFiles.begin(), vecFiles.end());
    if (vecFiles.empty()) {
        std::fprintf(stderr, "no corpus files found\n");
        return 1;
    }
    for (const std::string& sFile : vecFiles) {
        std::ifstream in(sFile, std::ios::binary);
        std::vector<uint8_t> vecData((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(vecData.data(), vecData.size());
    }
    std::printf("replayed %zu inputs\n", vecFiles.size());
    return 0;
}
