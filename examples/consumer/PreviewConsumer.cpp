// pelmo-consumer-example MODULE [DOCUMENT]
//
// The smallest complete program on the library, as an application writes it: it registers the
// module with the store (its accelerator row), publishes a preview document (the file DOCUMENT,
// or a built-in one), reads the stored preview back, prints it and counts what it holds.
//
// Built with the project, or on its own against an installed library, either through CMake
// (find_package(PelmoApi), target Pelmo::api) or through pkg-config:
//   c++ -std=c++17 PreviewConsumer.cpp $(pkg-config --cflags --libs pelmo-api) -o pelmo-consumer-example
// Run it where the store is on the system bus, or against a private host store:
//   pelmo-host-store -- ./pelmo-consumer-example org.example.consumer
#include <PelmoAPI.h>
#include <json/json.h>

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

const char* kAccelerators = "content://org.orvik.pelmo/accelerators";

// One section of two tiles. "episode" is not a tile column: the library keeps it in the tile's
// public extra data.
const char* kBuiltInDocument = R"({
  "sections": [
    {
      "section_id": 1,
      "section_title": "Continue watching",
      "section_position": 0,
      "tiles": [
        {"tile_id": 1, "tile_title": "Harbour Lights", "tile_position": 0,
         "action_data": "app://org.example.consumer/play?id=1", "episode": 4},
        {"tile_id": 2, "tile_title": "Salt Roads", "tile_position": 1,
         "action_data": "app://org.example.consumer/play?id=2"}
      ]
    }
  ]
})";

// A module is known to the store by its own accelerator row; insert it unless it is there.
bool Register(const std::string& sModule)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = kAccelerators;
    in.where = "app_pkg_name = ?";
    in.where_args = {sModule};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModule)) return false;
    if (out.cursor && out.cursor->GetRowCount() > 0) return true;

    Json::Value row;
    row["table_name"] = kAccelerators;
    row["accelerator_title"] = sModule;
    PT_JSON_IN_PARAM param;
    param.table_name = kAccelerators;
    param.data = Json::FastWriter().write(row);
    long long llRowId = -1;
    return insert_request(param, &llRowId, sModule) == 0 && llRowId > 0;
}

bool ReadDocument(int argc, char** argv, std::string& sDocument)
{
    if (argc < 3) {
        sDocument = kBuiltInDocument;
        return true;
    }
    std::ifstream file(argv[2]);
    std::stringstream text;
    text << file.rdbuf();
    sDocument = text.str();
    return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: pelmo-consumer-example MODULE [DOCUMENT]\n";
        return 2;
    }
    const std::string sModule = argv[1];
    std::string sDocument;
    if (!ReadDocument(argc, argv, sDocument)) {
        std::cerr << "pelmo-consumer-example: cannot read " << argv[2] << "\n";
        return 1;
    }

    if (!Register(sModule)) {
        std::cerr << "pelmo-consumer-example: the store refused to register " << sModule << "\n";
        return 1;
    }
    std::cout << "registered " << sModule << "\n";

    if (set_preview_metadata(sDocument.c_str(), sModule.c_str()) != 1) {
        std::cerr << "pelmo-consumer-example: the preview was not published\n";
        return 1;
    }
    std::cout << "published\n";

    // The text belongs to the caller until it is handed back with finalize_json_bytes.
    char* pStored = get_preview_metadata(sModule.c_str());
    const std::string sStored = pStored != nullptr ? pStored : "";
    finalize_json_bytes(pStored);

    Json::Value stored;
    Json::Reader reader;
    if (sStored.empty() || !reader.parse(sStored, stored) || !stored.isObject()) {
        std::cerr << "pelmo-consumer-example: nothing could be read back\n";
        return 1;
    }
    Json::ArrayIndex uTiles = 0;
    for (const Json::Value& section : stored["sections"]) uTiles += section["tiles"].size();
    std::cout << sStored;
    std::cout << "read back " << stored["sections"].size() << " section(s), " << uTiles << " tile(s)\n";
    return 0;
}
