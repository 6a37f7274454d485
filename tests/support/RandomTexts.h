// Random texts for the differential tests of the writers (request rows, envelopes, the
// read-back): plain and column-like texts, the quote, the backslash, the slash and the bytes
// with a two-character escape, and the odd ones (other control bytes, DEL, two-, three- and
// four-byte UTF-8, broken and overlong UTF-8, encoded surrogates, past U+10FFFF, NUL).
#pragma once

#include <random>
#include <string>
#include <vector>

namespace RandomTexts {

struct PT_PIECES {
    std::vector<std::string> vecPiece;
    size_t uFirstOdd;  // the odd pieces come last, from this index on
};

inline const PT_PIECES& Pieces()
{
    static const PT_PIECES kPieces = {{"a",
                                       "tile_title",
                                       "Z9",
                                       " ",
                                       "\"",
                                       "\\",
                                       "/",
                                       "\n",
                                       "\r",
                                       "\t",
                                       "\b",
                                       "\f",
                                       "16:9",
                                       "app://x/play?id=1&v=2",
                                       "tile_section_raw_id=?",
                                       "content://org.orvik.pelmo/tiles",
                                       "{\"is_resumable\":false,\"video_url\":\"\"}\n",
                                       "\x01",
                                       "\x1f",
                                       "\x7f",
                                       "\xc3\xa9",
                                       "\xe2\x82\xac",
                                       "\xf0\x9f\x8e\xac",
                                       "\xc3",
                                       "\xff",
                                       "\xed\xa0\x80",
                                       "\xe0\x80\x80",
                                       "\xf4\x90\x80\x80",
                                       std::string("\0", 1)},
                                      17};
    return kPieces;
}

// Up to iMaxPieces pieces (possibly none); an odd piece is kept only one time in iOddOneIn, and
// is otherwise replaced by a plain one.
inline std::string Make(std::mt19937& random, int iMaxPieces, int iOddOneIn)
{
    const PT_PIECES& pieces = Pieces();
    std::uniform_int_distribution<int> count(0, iMaxPieces);
    std::uniform_int_distribution<size_t> pick(0, pieces.vecPiece.size() - 1);
    std::uniform_int_distribution<int> odd(0, iOddOneIn - 1);
    std::string sText;
    for (int i = count(random); i > 0; --i) {
        size_t uPiece = pick(random);
        if (uPiece >= pieces.uFirstOdd && odd(random) != 0) uPiece = 0;
        sText += pieces.vecPiece[uPiece];
    }
    return sText;
}

}  // namespace RandomTexts
