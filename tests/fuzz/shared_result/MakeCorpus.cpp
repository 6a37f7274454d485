// Writes the committed seed corpus of shared_result_fuzz: results of several shapes from the
// writer, and a few damaged copies. Run once by hand: make_shared_result_corpus <dir>.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "pelmo/SharedResult.h"

namespace {

CResultCell Cell(CResultCell::Kind eKind, long long llValue = 0, double dValue = 0, const std::string& sText = "")
{
    CResultCell cell;
    cell.eKind = eKind;
    cell.llValue = llValue;
    cell.dValue = dValue;
    cell.sText = sText;
    return cell;
}

uint64_t GetU64(const std::string& sBytes, size_t iAt)
{
    uint64_t uValue = 0;
    for (int i = 7; i >= 0; --i) uValue = (uValue << 8) | static_cast<unsigned char>(sBytes[iAt + i]);
    return uValue;
}

void PutU64(std::string& sBytes, size_t iAt, uint64_t uValue)
{
    for (int i = 0; i < 8; ++i) sBytes[iAt + i] = static_cast<char>(uValue >> (8 * i));
}

// The same result with its sections in another order (text, names, cells), which the reader
// accepts: only alignment, bounds and disjointness are required.
std::string Reordered(const std::string& sBytes)
{
    const uint64_t uNames = GetU64(sBytes, 24), uCells = GetU64(sBytes, 32), uText = GetU64(sBytes, 40);
    std::string sText = sBytes.substr(uText, GetU64(sBytes, 48));
    sText.resize((sText.size() + 7) / 8 * 8, '\0');
    const std::string sNames = sBytes.substr(uNames, uCells - uNames);
    std::string sOut = sBytes.substr(0, 64) + sText + sNames + sBytes.substr(uCells, uText - uCells);
    PutU64(sOut, 8, sOut.size());
    PutU64(sOut, 40, 64);
    PutU64(sOut, 24, 64 + sText.size());
    PutU64(sOut, 32, 64 + sText.size() + sNames.size());
    return sOut;
}

bool Write(const std::string& sDir, const std::string& sName, const std::string& sBytes)
{
    std::ofstream out(sDir + "/" + sName, std::ios::binary);
    out.write(sBytes.data(), static_cast<std::streamsize>(sBytes.size()));
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus dir>\n", argv[0]);
        return 2;
    }
    const std::string sDir = argv[1];

    CResultTable empty;
    empty.vecColumns = {"id", "title"};

    CResultTable kinds;
    kinds.vecColumns = {"i", "big", "real", "text", "none"};
    kinds.vecRows.push_back({Cell(CResultCell::kInteger, INT_MAX), Cell(CResultCell::kInteger, -9000000000000000000LL),
                             Cell(CResultCell::kDouble, 0, 2.5), Cell(CResultCell::kText, 0, 0, "Grüße"),
                             Cell(CResultCell::kNull)});
    kinds.vecRows.push_back({Cell(CResultCell::kText, 0, 0, ""), Cell(CResultCell::kInteger, 4294967297LL),
                             Cell(CResultCell::kNull), Cell(CResultCell::kDouble, 0, -0.0),
                             Cell(CResultCell::kInteger, INT_MIN)});

    CResultTable tall;
    tall.vecColumns = {"n"};
    for (int i = 0; i < 40; ++i) tall.vecRows.push_back({Cell(CResultCell::kInteger, i * 1000003LL)});

    CResultTable wide;
    for (int i = 0; i < 24; ++i) wide.vecColumns.push_back("c" + std::to_string(i));
    wide.vecRows.push_back({});
    for (int i = 0; i < 24; ++i) wide.vecRows[0].push_back(Cell(CResultCell::kText, 0, 0, std::string(i, 'a' + i % 26)));

    const std::string sKinds = CSharedResultWriter::Serialize(kinds);
    bool bOk = Write(sDir, "valid_empty", CSharedResultWriter::Serialize(empty)) &&
               Write(sDir, "valid_no_columns", CSharedResultWriter::Serialize(CResultTable())) &&
               Write(sDir, "valid_every_kind", sKinds) && Write(sDir, "valid_reordered", Reordered(sKinds)) &&
               Write(sDir, "valid_tall", CSharedResultWriter::Serialize(tall)) &&
               Write(sDir, "valid_wide_text", CSharedResultWriter::Serialize(wide));

    // Damaged copies of the every-kind result: a cell kind out of range, a text running past
    // the text area, and a truncated tail.
    std::string sBadKind = sKinds;
    const size_t iCells = 64 + 5 * 8;
    sBadKind[iCells + 2 * 16] = 7;
    std::string sBadText = sKinds;
    sBadText[iCells + 3 * 16 + 4] = static_cast<char>(0xFF);
    bOk = bOk && Write(sDir, "bad_kind", sBadKind) && Write(sDir, "bad_text_length", sBadText) &&
          Write(sDir, "truncated", sKinds.substr(0, sKinds.size() - 8));
    return bOk ? 0 : 1;
}
