// `pelmoctl schema`: prints the JSON Schema of a preview document, for editors and CI.
#include <cstdio>
#include <cstring>
#include <string>

#include "PreviewSchema.h"
#include "ValidateCommand.h"

int RunSchemaCommand(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            std::printf(
                "usage: pelmoctl schema\n"
                "\n"
                "Prints the JSON Schema (draft 2020-12) of a preview document: every member the library\n"
                "reads with its JSON kind and what it does with it. Installed as\n"
                "share/pelmo-api/preview.schema.json. A \"$schema\" member in a document is ignored by\n"
                "the library, so a document may name the schema for its editor.\n");
            return 0;
        }
        std::fprintf(stderr, "pelmoctl schema: unexpected %s (see pelmoctl schema --help)\n", argv[i]);
        return 2;
    }
    const std::vector<std::string> vecDisagreements = PreviewSchemaDisagreements();
    if (!vecDisagreements.empty()) {
        for (const std::string& sLine : vecDisagreements) std::fprintf(stderr, "pelmoctl schema: %s\n", sLine.c_str());
        return 1;
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    std::printf("%s\n", Json::writeString(builder, BuildPreviewSchema()).c_str());
    return 0;
}
