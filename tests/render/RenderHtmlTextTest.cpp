// Escaping of untrusted texts and the choice of image addresses the page may load.
#include <gtest/gtest.h>

#include "RenderHtmlText.h"

TEST(RenderHtmlText, EscapesEveryCharacterThatCouldEndTextOrAnAttribute)
{
    EXPECT_EQ(EscapeHtml("<b>Tom & \"Jerry\" 'x' `y`</b>"),
              "&lt;b&gt;Tom &amp; &quot;Jerry&quot; &#39;x&#39; &#96;y&#96;&lt;/b&gt;");
    EXPECT_EQ(EscapeHtml("plain text, \xC3\xA9t\xC3\xA9"), "plain text, \xC3\xA9t\xC3\xA9");
    EXPECT_EQ(EscapeHtml("&amp;"), "&amp;amp;");
}

TEST(RenderHtmlText, ControlCharactersBecomeReplacementCharacters)
{
    EXPECT_EQ(EscapeHtml(std::string("a\0b", 3)), "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(EscapeHtml("a\rb\x1b" "c\x7f"), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD" "c\xEF\xBF\xBD");
    EXPECT_EQ(EscapeHtml("tab\tand\nline"), "tab\tand\nline");
}

TEST(RenderHtmlText, OnlyHttpHttpsAndFileImagesAreLoaded)
{
    EXPECT_EQ(PageImageUrl("https://images.example.org/1.jpg"), "https://images.example.org/1.jpg");
    EXPECT_EQ(PageImageUrl("http://images.example.org/1.jpg"), "http://images.example.org/1.jpg");
    EXPECT_EQ(PageImageUrl("HTTPS://images.example.org/1.jpg"), "HTTPS://images.example.org/1.jpg");
    EXPECT_EQ(PageImageUrl("file:///opt/usr/apps/a/shared/res/tile.png"), "file:///opt/usr/apps/a/shared/res/tile.png");
    for (const char* sRefused : {"javascript:alert(1)", "JaVaScRiPt:alert(1)", " https://x/1.jpg", "\thttps://x/",
                                 "data:image/png;base64,AAAA", "vbscript:msgbox", "//evil.example/1.jpg",
                                 "images/1.jpg", "https://x/a b.jpg", "https://x/\n1.jpg", "", "https:"}) {
        EXPECT_EQ(PageImageUrl(sRefused), "") << sRefused;
    }
}

TEST(RenderHtmlText, ImagePathsBecomePercentEncodedFileAddresses)
{
    EXPECT_EQ(FileUrlFromPath("/opt/apps/a b/tile#1.png"), "file:///opt/apps/a%20b/tile%231.png");
    EXPECT_EQ(FileUrlFromPath("/x/\"onerror=1.png"), "file:///x/%22onerror%3D1.png");
    EXPECT_EQ(FileUrlFromPath("relative/tile.png"), "");
    EXPECT_EQ(FileUrlFromPath("/x/\ny.png"), "");
    EXPECT_EQ(FileUrlFromPath(""), "");
}
