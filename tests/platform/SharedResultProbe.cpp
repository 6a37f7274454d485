// One side of the exchange of a result between processes of different architectures: the store
// service of one target writes, the client of another reads. The test script runs a writer built
// for one architecture against a reader built for another and compares what each prints.
//   shared_result_probe bytes           the serialised table, as hex
//   shared_result_probe write KEY       publishes the table under KEY, prints its size
//   shared_result_probe read KEY SIZE   opens KEY through GetCursor, prints what the cursor reports
//   shared_result_probe expect          what the cursor reports for the table read in-process
#include <cstdio>
#include <cstring>
#include <string>

#include "SharedResultTestData.h"
#include "pelmo/ISharedQueryObject.h"

namespace {

// Every getter of every cell, in one line per cell; the outputs start from a known value so
// that a getter that fails shows as that value.
void PrintCursor(ISQLiteCursor& cursor)
{
    std::printf("rows %d columns %d\n", cursor.GetRowCount(), cursor.GetColumnCount());
    for (int c = 0; c < cursor.GetColumnCount(); ++c) std::printf("column %d %s\n", c, cursor.GetColumnName(c).c_str());
    int iRow = 0;
    while (cursor.MoveNext() == 0) {
        for (int c = 0; c < cursor.GetColumnCount(); ++c) {
            int iValue = 11;
            long long llValue = 12;
            double dValue = 13.0;
            std::string sValue = "unset";
            const int iInt = cursor.GetInt(c, iValue);
            const int iInt64 = cursor.GetInt64(c, llValue);
            const int iDouble = cursor.GetDouble(c, dValue);
            const int iString = cursor.GetString(c, sValue);
            std::string sHex;
            for (unsigned char ch : sValue) {
                char aByte[4];
                std::snprintf(aByte, sizeof aByte, "%02x", ch);
                sHex += aByte;
            }
            std::printf("cell %d %d type %d int %d:%d int64 %d:%lld double %d:%a string %d:%s\n", iRow, c,
                        cursor.GetColumnType(c), iInt, iValue, iInt64, llValue, iDouble, dValue, iString, sHex.c_str());
        }
        ++iRow;
    }
}

int Usage()
{
    std::fprintf(stderr, "usage: shared_result_probe bytes | write KEY | read KEY SIZE | expect\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return Usage();
    const std::string sMode = argv[1];
    const std::string sBytes = CSharedResultWriter::Serialize(shm_test::EveryKindTable());
    if (sBytes.empty()) {
        std::fprintf(stderr, "the table does not serialise\n");
        return 1;
    }
    if (sMode == "bytes" && argc == 2) {
        for (unsigned char ch : sBytes) std::printf("%02x", ch);
        std::printf("\n");
        return 0;
    }
    if (sMode == "write" && argc == 3) {
        std::string sError;
        if (!CSharedResultWriter::Publish(argv[2], sBytes, sError)) {
            std::fprintf(stderr, "publish: %s\n", sError.c_str());
            return 1;
        }
        std::printf("%zu\n", sBytes.size());
        return 0;
    }
    if (sMode == "read" && argc == 4) {
        const int iSize = std::atoi(argv[3]);
        std::shared_ptr<ISQLiteCursor> pCursor = ISharedQueryObject::GetCursor(argv[2], iSize);
        if (!pCursor) {
            std::fprintf(stderr, "GetCursor refused %s\n", argv[2]);
            return 1;
        }
        PrintCursor(*pCursor);
        return 0;
    }
    if (sMode == "expect" && argc == 2) {
        std::string sError;
        std::shared_ptr<ISQLiteCursor> pCursor = CSharedResultReader::FromBytes(sBytes.data(), sBytes.size(), sError);
        if (!pCursor) {
            std::fprintf(stderr, "FromBytes: %s\n", sError.c_str());
            return 1;
        }
        PrintCursor(*pCursor);
        return 0;
    }
    return Usage();
}
