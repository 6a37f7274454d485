#include "PngCheck.h"

#include <gio/gio.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <unordered_set>
#include <vector>

namespace {

uint32_t ReadU32(const std::string& s, size_t u)
{
    return (static_cast<uint32_t>(static_cast<unsigned char>(s[u])) << 24) |
           (static_cast<uint32_t>(static_cast<unsigned char>(s[u + 1])) << 16) |
           (static_cast<uint32_t>(static_cast<unsigned char>(s[u + 2])) << 8) |
           static_cast<uint32_t>(static_cast<unsigned char>(s[u + 3]));
}

bool Inflate(const std::string& sCompressed, std::vector<unsigned char>& vecOut)
{
    GZlibDecompressor* pDecompressor = g_zlib_decompressor_new(G_ZLIB_COMPRESSOR_FORMAT_ZLIB);
    GConverter* pConverter = G_CONVERTER(pDecompressor);
    size_t uIn = 0;
    unsigned char aBuffer[65536];
    bool bOk = false;
    while (true) {
        gsize uRead = 0, uWritten = 0;
        GError* pError = nullptr;
        const GConverterResult result =
            g_converter_convert(pConverter, sCompressed.data() + uIn, sCompressed.size() - uIn, aBuffer,
                                sizeof(aBuffer), G_CONVERTER_INPUT_AT_END, &uRead, &uWritten, &pError);
        if (result == G_CONVERTER_ERROR) {
            g_error_free(pError);
            break;
        }
        uIn += uRead;
        vecOut.insert(vecOut.end(), aBuffer, aBuffer + uWritten);
        if (result == G_CONVERTER_FINISHED) {
            bOk = true;
            break;
        }
    }
    g_object_unref(pDecompressor);
    return bOk;
}

int Paeth(int a, int b, int c)
{
    const int p = a + b - c;
    const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    if (pa <= pb && pa <= pc) return a;
    if (pb <= pc) return b;
    return c;
}

}  // namespace

PT_PNG_SUMMARY SummarizePng(const std::string& sPath)
{
    PT_PNG_SUMMARY summary;
    std::ifstream in(sPath, std::ios::binary);
    const std::string sFile((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (sFile.size() < 33 || sFile.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) {
        summary.sError = "not a PNG file (" + std::to_string(sFile.size()) + " bytes)";
        return summary;
    }
    std::string sIdat;
    unsigned uColourType = 0, uDepth = 0, uInterlace = 0;
    for (size_t u = 8; u + 12 <= sFile.size();) {
        const uint32_t uLen = ReadU32(sFile, u);
        const std::string sType = sFile.substr(u + 4, 4);
        if (u + 12 + uLen > sFile.size()) {
            summary.sError = "truncated chunk " + sType;
            return summary;
        }
        if (sType == "IHDR" && uLen >= 13) {
            summary.uWidth = ReadU32(sFile, u + 8);
            summary.uHeight = ReadU32(sFile, u + 12);
            uDepth = static_cast<unsigned char>(sFile[u + 16]);
            uColourType = static_cast<unsigned char>(sFile[u + 17]);
            uInterlace = static_cast<unsigned char>(sFile[u + 20]);
        } else if (sType == "IDAT") {
            sIdat.append(sFile, u + 8, uLen);
        } else if (sType == "IEND") {
            break;
        }
        u += 12 + uLen;
    }
    if (uDepth != 8 || (uColourType != 2 && uColourType != 6) || uInterlace != 0) {
        summary.sError = "unexpected format: depth " + std::to_string(uDepth) + ", colour type " +
                         std::to_string(uColourType) + ", interlace " + std::to_string(uInterlace);
        return summary;
    }
    const size_t uPixelBytes = uColourType == 6 ? 4 : 3;
    const size_t uStride = summary.uWidth * uPixelBytes;
    std::vector<unsigned char> vecRaw;
    if (!Inflate(sIdat, vecRaw) || vecRaw.size() != summary.uHeight * (uStride + 1)) {
        summary.sError = "image data does not inflate to the image's size";
        return summary;
    }

    std::vector<unsigned char> vecPrev(uStride, 0), vecRow(uStride, 0);
    std::unordered_set<uint32_t> setColours;
    double dLumaSum = 0;
    for (unsigned y = 0; y < summary.uHeight; ++y) {
        const unsigned char* pLine = vecRaw.data() + y * (uStride + 1);
        const unsigned uFilter = pLine[0];
        for (size_t x = 0; x < uStride; ++x) {
            const int a = x >= uPixelBytes ? vecRow[x - uPixelBytes] : 0;
            const int b = vecPrev[x];
            const int c = x >= uPixelBytes ? vecPrev[x - uPixelBytes] : 0;
            int iPredict = 0;
            switch (uFilter) {
            case 0: iPredict = 0; break;
            case 1: iPredict = a; break;
            case 2: iPredict = b; break;
            case 3: iPredict = (a + b) / 2; break;
            case 4: iPredict = Paeth(a, b, c); break;
            default: summary.sError = "bad row filter"; return summary;
            }
            vecRow[x] = static_cast<unsigned char>(pLine[1 + x] + iPredict);
        }
        for (size_t x = 0; x < uStride; x += uPixelBytes) {
            const uint32_t r = vecRow[x], g = vecRow[x + 1], bl = vecRow[x + 2];
            setColours.insert((r << 16) | (g << 8) | bl);
            dLumaSum += 0.2126 * r + 0.7152 * g + 0.0722 * bl;
        }
        vecPrev.swap(vecRow);
    }
    summary.uDistinctColours = setColours.size();
    summary.dMeanLuma = dLumaSum / (static_cast<double>(summary.uWidth) * summary.uHeight);
    summary.bValid = true;
    return summary;
}
