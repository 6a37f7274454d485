// The render fixture for tests that drive the headless browser: the browser is found first, as
// without it such a test cannot run at all.
#pragma once

#include <string>

#include "HeadlessChromium.h"
#include "PngCheck.h"
#include "RenderFixture.h"

class BrowserRenderTest : public RenderTest {
protected:
    void Prepare() override
    {
        RenderTest::Prepare();
        if (HasFatalFailure()) return;
        m_sChromium = FindInPath("chromium");
        ASSERT_FALSE(m_sChromium.empty()) << "chromium is not installed: scripts/setup-deps.sh installs it";
        PrepareBrowser();
    }
    // A browser test sets itself up here, once the browser is found.
    virtual void PrepareBrowser() {}

    // A screenshot of the home screen as the tests take it (1280 x 900): cards, text and
    // gradients make many colours; a dark home screen makes a dark page on average.
    static void ExpectHomeScreenShot(const std::string& sShot)
    {
        const PT_PNG_SUMMARY png = SummarizePng(sShot);
        ASSERT_TRUE(png.bValid) << sShot << ": " << png.sError;
        EXPECT_EQ(png.uWidth, 1280u);
        EXPECT_EQ(png.uHeight, 900u);
        EXPECT_GT(png.uDistinctColours, 200u);
        EXPECT_LT(png.dMeanLuma, 80.0);
    }

    std::string m_sChromium;
};
