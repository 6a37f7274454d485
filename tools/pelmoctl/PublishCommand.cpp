// `pelmoctl publish MODULE FILE|-`: publishes a preview document through set_preview_metadata
// and prints what the publish sent, as the store counted it.
#include <cstdio>
#include <sstream>

#include "DocumentFile.h"
#include "PreviewPublish.h"
#include "StoreCommandSupport.h"
#include "StoreCommands.h"

using namespace StoreCommand;

namespace {
constexpr const char* kUsage = "pelmoctl publish MODULE FILE|- [--requests] [--summary]";
constexpr const char* kHelp =
    "usage: pelmoctl publish MODULE FILE|- [--requests] [--summary]\n"
    "\n"
    "Publishes the preview document in FILE (\"-\": standard input) for MODULE, as the\n"
    "application would with set_preview_metadata: the store ends up holding exactly the\n"
    "document's sections and tiles, and only what changed is sent. The document must be JSON\n"
    "and the module registered (pelmoctl register); otherwise nothing is sent.\n"
    "\n"
    "Prints what the publish changed, counted by the store:\n"
    "  sections: I inserted, U updated, D deleted\n"
    "  tiles: I inserted, U updated, D deleted\n"
    "--requests first prints one line per request the publish sent.\n"
    "--summary prints the counts as one line, with what the store holds afterwards and the\n"
    "requests sent: sections +INSERTED -DELETED ~UPDATED =STORED, tiles ...: N requests.\n"
    "A republished document that did not change still counts its kept sections and tiles as\n"
    "updated: the library rewrites every item it keeps, changed or not.\n"
    "\n"
    "Exit status: 0 published, 1 failure (one line on standard error; also when the store\n"
    "refused a request of the publish, which the library itself does not report), 2 bad usage.\n";

// jsoncpp's report ("* Line 1, Column 2\n  Syntax error: ...") as one line.
std::string JsonProblem(const std::string& sErrors)
{
    std::istringstream lines(sErrors);
    std::string sLine, sText;
    for (int i = 0; i < 2 && std::getline(lines, sLine); ++i) {
        const size_t iStart = sLine.find_first_not_of("* ");
        if (iStart == std::string::npos) continue;
        sText += (sText.empty() ? "" : ": ") + sLine.substr(iStart);
    }
    return sText.empty() ? "not valid JSON" : sText;
}
}  // namespace

int RunPublishCommand(int argc, char** argv)
{
    const std::string sCommand = "publish";
    // Everything that can be checked without the store is checked first, so that a bad
    // document never reaches it.
    std::string sDocument;
    const auto readDocument = [&](const CParsedArgs& args) {
        const std::string& sPath = args.vecPositional[1];
        std::string sError;
        if (!ReadDocument(sPath, sDocument, sError)) return Fail(sCommand, sError);
        Json::CharReaderBuilder builder;
        Json::Value ignored;
        std::string sErrors;
        std::istringstream in(sDocument);
        if (!Json::parseFromStream(builder, in, &ignored, &sErrors)) {
            return Fail(sCommand, (sPath == "-" ? std::string("standard input") : sPath) +
                                      " is not JSON: " + JsonProblem(sErrors));
        }
        return -1;
    };
    return RunOnRegisteredModule(
        sCommand, argc, argv, {kHelp, kUsage, {}, {"--requests", "--summary"}, 2, "MODULE and FILE"}, readDocument,
        [&](CRegisteredModule& module) {
            return PublishAndReport(sCommand, module.sModule, sDocument, module.stats, module.args.Has("--requests"),
                                    module.log, module.args.Has("--summary"));
        });
}
