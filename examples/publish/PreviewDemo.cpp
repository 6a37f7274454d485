// pelmo-preview-demo [--log REQUEST_LOG] MODULE DOCUMENT...
//
// What an application does with the library: it makes sure its accelerator row exists,
// publishes each preview document in turn and reads the stored preview back. With --log (the
// store's request log) it shows after each step which requests reached the store.
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "PelmoAPI.h"

namespace {
const char* kAccelerators = "content://org.orvik.pelmo/accelerators";

std::string ReadFile(const std::string& sPath, bool& bOk)
{
    std::ifstream in(sPath);
    std::stringstream text;
    text << in.rdbuf();
    bOk = static_cast<bool>(in);
    return text.str();
}

// Prints the request-log lines written since the last call.
class CRequestLogTail {
public:
    explicit CRequestLogTail(std::string sPath) : m_sPath(std::move(sPath)) { Show(false); }
    void Show(bool bPrint = true)
    {
        if (m_sPath.empty()) return;
        bool bOk = false;
        const std::string sLog = ReadFile(m_sPath, bOk);
        if (bPrint && sLog.size() > m_uSeen) {
            std::istringstream lines(sLog.substr(m_uSeen));
            std::string sLine;
            while (std::getline(lines, sLine)) std::cout << "    store: " << sLine << "\n";
        }
        m_uSeen = sLog.size();
    }

private:
    std::string m_sPath;
    size_t m_uSeen = 0;
};

// A module is known to the store by its accelerator row; the store keeps one per module.
bool EnsureAccelerator(const std::string& sModule)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = kAccelerators;
    in.where = "app_pkg_name = ?";
    in.where_args = {sModule};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (select_request(in, out, sModule) && out.cursor && out.cursor->GetRowCount() > 0) return true;
    PT_JSON_IN_PARAM param;
    param.table_name = kAccelerators;
    param.data = std::string("{\"table_name\":\"") + kAccelerators + "\",\"accelerator_title\":\"" + sModule + "\"}";
    long long llRowId = -1;
    return insert_request(param, &llRowId, sModule) == 0;
}
}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> vecArgs(argv + 1, argv + argc);
    std::string sLog;
    if (vecArgs.size() >= 2 && vecArgs[0] == "--log") {
        sLog = vecArgs[1];
        vecArgs.erase(vecArgs.begin(), vecArgs.begin() + 2);
    }
    if (vecArgs.size() < 2) {
        std::cerr << "usage: pelmo-preview-demo [--log REQUEST_LOG] MODULE DOCUMENT...\n";
        return 2;
    }
    const std::string sModule = vecArgs[0];
    CRequestLogTail tail(sLog);

    std::cout << "== register " << sModule << "\n";
    if (!EnsureAccelerator(sModule)) {
        std::cerr << "pelmo-preview-demo: cannot register " << sModule << " with the store\n";
        return 1;
    }
    tail.Show();

    int iExit = 0;
    for (size_t i = 1; i < vecArgs.size(); ++i) {
        bool bOk = false;
        const std::string sDocument = ReadFile(vecArgs[i], bOk);
        if (!bOk) {
            std::cerr << "pelmo-preview-demo: cannot read " << vecArgs[i] << "\n";
            return 1;
        }
        const int iResult = set_preview_metadata(sDocument.c_str(), sModule.c_str());
        std::cout << "== publish " << vecArgs[i] << ": " << (iResult == 1 ? "ok" : "failed") << "\n";
        if (iResult != 1) iExit = 1;
        tail.Show();
    }

    char* pStored = get_preview_metadata(sModule.c_str());
    std::cout << "== read back\n";
    tail.Show();
    if (pStored == nullptr || *pStored == '\0') {
        std::cerr << "pelmo-preview-demo: nothing could be read back\n";
        finalize_json_bytes(pStored);
        return 1;
    }
    std::cout << pStored;
    finalize_json_bytes(pStored);
    return iExit;
}
