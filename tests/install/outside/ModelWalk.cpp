// Reads a preview document with the library's own reader, as a publish would, and prints the
// tree it builds: no store and no bus are involved.
//   model-walk MODULE FILE
#include <PreviewAccelerator.h>
#include <PreviewDataUtil.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {
std::string Value(const PropertyMap& mapProperty, const char* sColumn)
{
    const auto it = mapProperty.find(sColumn);
    return it == mapProperty.end() ? std::string("(no column)") : it->second.second;
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: model-walk MODULE FILE\n");
        return 2;
    }
    std::ifstream in(argv[2]);
    std::stringstream text;
    text << in.rdbuf();
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", argv[2]);
        return 2;
    }

    CPreviewDataUtil util;
    CPreviewAccelerator accelerator;
    if (!util.GetPreviewDataUsingJsonStr(text.str(), accelerator, argv[1])) {
        std::printf("refused\n");
        return 1;
    }
    // The content keys are kept beside the children, one per child.
    if (accelerator.m_vecSectionHash.size() != accelerator.m_vecSection.size()) {
        std::printf("section keys do not match the sections\n");
        return 1;
    }
    size_t iTiles = 0;
    for (size_t s = 0; s < accelerator.m_vecSection.size(); ++s) {
        const CPreviewSection& section = *accelerator.m_vecSection[s];
        std::printf("section %zu: %s key %016llx\n", s, Value(section.m_mapProperty, "section_title").c_str(),
                    static_cast<unsigned long long>(section.m_hash));
        if (section.m_vecTileHash.size() != section.m_vecTile.size()) {
            std::printf("tile keys do not match the tiles\n");
            return 1;
        }
        for (size_t t = 0; t < section.m_vecTile.size(); ++t) {
            const CPreviewTile& tile = *section.m_vecTile[t];
            std::printf("  tile %zu: %s | %s key %016llx\n", t, Value(tile.m_mapProperty, "tile_title").c_str(),
                        Value(tile.m_mapProperty, "tile_action_type").c_str(),
                        static_cast<unsigned long long>(tile.m_hash));
            ++iTiles;
        }
    }
    std::printf("%zu section(s), %zu tile(s)\n", accelerator.m_vecSection.size(), iTiles);

    // The tree can be grown by hand too, as the reader grows it.
    CPreviewAccelerator built;
    built.AddProperty("", JSON_VALUE_NONE, "", 3);
    built.AddProperty("section_title", JSON_VALUE_STRING, "By hand", 2);
    built.AddProperty("", JSON_VALUE_NONE, "", 1);
    built.AddProperty("tile_title", JSON_VALUE_STRING, "Built", 0);
    std::printf("built: %s / %s\n", Value(built.m_vecSection.at(0)->m_mapProperty, "section_title").c_str(),
                Value(built.m_vecSection.at(0)->m_vecTile.at(0)->m_mapProperty, "tile_title").c_str());
    return 0;
}
