// A registered module on the real store, documents from the examples folder, and the requests
// each publish sent, read from the store's request log.
#pragma once

#include <fstream>
#include <map>
#include <sstream>

#include "StoreFixture.h"

class PublishTest : public StoreTest {
protected:
    static constexpr const char* kModule = "org.example.player";

    void Prepare() override
    {
        m_llAccelerator = AddAccelerator("Player", kModule);
        ASSERT_GT(m_llAccelerator, 0);
    }

    static std::string Example(const std::string& sName)
    {
        std::ifstream in(std::string(PELMO_EXAMPLES_DIR) + "/" + sName);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // Requests that reached the store since the last call, by method name.
    std::map<std::string, int> RequestsSinceLastLook()
    {
        const std::string sLog = ReadRequestLog();
        std::map<std::string, int> mapCount;
        std::istringstream lines(sLog.substr(std::min(m_uLogSeen, sLog.size())));
        m_uLogSeen = sLog.size();
        std::string sLine;
        while (std::getline(lines, sLine)) {
            const size_t uStart = sLine.find("pelmo-service: ");
            if (uStart == std::string::npos) continue;
            std::istringstream words(sLine.substr(uStart + 15));
            std::string sMethod, sModule;
            words >> sMethod >> sModule;
            if (sModule.rfind("module=", 0) == 0) ++mapCount[sMethod];
        }
        return mapCount;
    }

    // The stored preview as the library hands it out, parsed.
    Json::Value ReadBack()
    {
        char* pText = get_preview_metadata(kModule);
        EXPECT_NE(pText, nullptr);
        Json::Value root;
        if (pText != nullptr) {
            EXPECT_TRUE(Json::Reader().parse(pText, root)) << pText;
            finalize_json_bytes(pText);
        }
        return root;
    }

    long long m_llAccelerator = -1;
    size_t m_uLogSeen = 0;
};

// A document member as the store gives it back: booleans are stored as 0 / 1, and the play
// action travels under its column name.
inline Json::Value AsStored(const Json::Value& value)
{
    if (value.isBool()) return Json::Value(value.asBool() ? 1 : 0);
    return value;
}

// Every member of the document's sections and tiles is in the read-back, in the same order of
// sections and tiles; members the document does not name may be there too (row ids, defaults).
inline void ExpectReadBackHolds(const Json::Value& document, const Json::Value& readBack)
{
    const Json::Value& docSections = document["sections"];
    const Json::Value& gotSections = readBack["sections"];
    ASSERT_EQ(gotSections.size(), docSections.size()) << readBack.toStyledString();
    for (Json::ArrayIndex s = 0; s < docSections.size(); ++s) {
        const Json::Value& docSection = docSections[s];
        const Json::Value& gotSection = gotSections[s];
        for (const std::string& sName : docSection.getMemberNames()) {
            if (sName == "tiles") continue;
            EXPECT_EQ(gotSection[sName], AsStored(docSection[sName])) << "section " << s << " member " << sName;
        }
        const Json::Value& docTiles = docSection["tiles"];
        const Json::Value& gotTiles = gotSection["tiles"];
        ASSERT_EQ(gotTiles.size(), docTiles.size()) << "section " << s;
        for (Json::ArrayIndex t = 0; t < docTiles.size(); ++t) {
            for (const std::string& sName : docTiles[t].getMemberNames()) {
                if (sName.rfind("tile_", 0) != 0 && sName != "action_data") {
                    // Not a column: it travels inside the tile's public extra text.
                    Json::Value extra;
                    ASSERT_TRUE(Json::Reader().parse(gotTiles[t]["public_extra"].asString(), extra));
                    EXPECT_EQ(extra[sName], docTiles[t][sName]) << "public extra member " << sName;
                    continue;
                }
                const std::string sColumn = sName == "action_data" ? "tile_action_play" : sName;
                EXPECT_EQ(gotTiles[t][sColumn], AsStored(docTiles[t][sName]))
                    << "section " << s << " tile " << t << " member " << sName;
            }
        }
    }
}
