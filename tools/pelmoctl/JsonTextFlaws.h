// Where the text of one JSON string, as the document writes it, is not Unicode text: byte
// sequences that are not well-formed UTF-8 (RFC 3629: no overlong forms, no encoded UTF-16
// surrogates, nothing above U+10FFFF), and \u escapes of a UTF-16 surrogate without its partner.
//
// The library's JSON reader keeps bytes that are not UTF-8 as they are, but its writer, which
// every request to the store goes through, puts U+FFFD in their place. It reads an escaped low
// surrogate alone (\udc00) as the three bytes that would encode it, which are not UTF-8 either;
// a high surrogate followed by an escape that is not a low one (\ud800\u0041) it joins with that
// escape into one unrelated character (U+10041) without a word; a high surrogate followed by no
// escape at all makes it refuse the whole text.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct PT_TEXT_FLAW {
    std::size_t uOffset = 0;  // from the token's opening quote
    std::size_t uLength = 0;  // bytes of the token it spans
    std::string sWhat;        // what is wrong, in a few words ("byte FF never occurs in UTF-8")
};

// pToken is the string token from its opening quote to its closing quote. Never reads past
// uSize, whatever the bytes.
std::vector<PT_TEXT_FLAW> FindTextFlaws(const char* pToken, std::size_t uSize);

// The token with every flaw written as one "?": a text that differs from the token exactly
// where the flaws are.
std::string TokenWithFlawsReplaced(const char* pToken, std::size_t uSize, const std::vector<PT_TEXT_FLAW>& vecFlaw);
