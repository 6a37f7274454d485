// The render fixture for tests that drive the headless browser: the browser is found first, as
// without it such a test cannot run at all.
#pragma once

#include <string>

#include "HeadlessChromium.h"
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

    std::string m_sChromium;
};
