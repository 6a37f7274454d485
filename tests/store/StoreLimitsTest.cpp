// The limits of a publish, against the real service on a private bus: a module over its quota
// loses only its own writes, and two connections publishing one module at the same time are
// shown by `pelmoctl status` until a publish from one writer.
#include <cstdio>

#include "PreviewDocument200.h"
#include "RawStoreConnection.h"
#include "StoreFixture.h"

namespace {
const std::string kBig = "org.example.big";
const std::string kSmall = "org.example.small";

std::string RunStatus(const std::string& sModule)
{
    std::string sOut;
    FILE* pPipe = popen((std::string(PELMOCTL_PATH) + " status " + sModule + " 2>&1").c_str(), "r");
    if (pPipe == nullptr) return sOut;
    char aBuffer[512];
    while (std::fgets(aBuffer, sizeof aBuffer, pPipe) != nullptr) sOut += aBuffer;
    pclose(pPipe);
    return sOut;
}

void Register(const std::string& sModule)
{
    PT_JSON_IN_PARAM accelerator;
    accelerator.data = "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"A\"}";
    long long llRowId = -1;
    ASSERT_EQ(insert_request(accelerator, &llRowId, sModule), 0);
}

class StoreQuotaTest : public StoreTest {
protected:
    void ConfigureService(CHostStoreOptions& options) override
    {
        options.vecExtraArgs = {"--module-quota", "5,60,1000000"};
    }
};

class StoreTwoWritersTest : public StoreTest {};
}  // namespace

TEST_F(StoreQuotaTest, ModuleOverItsQuotaLosesOnlyItsOwnWritesAndStatusSaysSo)
{
    Register(kBig);
    Register(kSmall);
    // Ten sections of 20 tiles, each section inserted with its tiles: three fit whole, two
    // more sections fit without their tiles, the rest is refused.
    EXPECT_EQ(set_preview_metadata(PreviewDocument200().c_str(), kBig.c_str()), 1);
    EXPECT_EQ(CountRows("sections", "module_name = '" + kBig + "'"), 5);
    EXPECT_EQ(CountRows("tiles", "module_name = '" + kBig + "'"), 60);

    const std::string sStatus = RunStatus(kBig);
    EXPECT_NE(sStatus.find("quota: 5 of 5 sections, 60 of 60 tiles, "), std::string::npos) << sStatus;
    // Sections and tiles were both refused; which came last depends on the order of the writes.
    EXPECT_NE(sStatus.find(" writes refused for it, the last at "), std::string::npos) << sStatus;
    EXPECT_NE(sStatus.find(" UTC: module org.example.big would hold "), std::string::npos) << sStatus;

    // Another module's publish is whole.
    Json::Value small;
    Json::Reader().parse(PreviewDocument200(), small);
    small["sections"].resize(2);
    EXPECT_EQ(set_preview_metadata(Json::FastWriter().write(small).c_str(), kSmall.c_str()), 1);
    EXPECT_EQ(CountRows("tiles", "module_name = '" + kSmall + "'"), 40);
    const std::string sSmallStatus = RunStatus(kSmall);
    EXPECT_NE(sSmallStatus.find("quota: 2 of 5 sections, 40 of 60 tiles, "), std::string::npos) << sSmallStatus;
    EXPECT_EQ(sSmallStatus.find("refused for it"), std::string::npos) << sSmallStatus;
}

TEST_F(StoreTwoWritersTest, TwoConnectionsPublishingAtOnceAreShownUntilOneWriterPublishesAgain)
{
    Register(kBig);
    const std::string sDocument = PreviewDocument200();
    ASSERT_EQ(set_preview_metadata(sDocument.c_str(), kBig.c_str()), 1);
    EXPECT_EQ(RunStatus(kBig).find("writers:"), std::string::npos) << "one writer so far";

    // The library's connection loads; another process's connection writes the module; then the
    // library's connection writes what its load told it to.
    PT_CONSUMER_SELECT_IN_PARAM load;
    load.table_name = "content://org.orvik.pelmo/sections";
    PT_CONSUMER_SELECT_OUT_PARAM loaded;
    ASSERT_TRUE(select_request(load, loaded, kBig));
    CRawStoreConnection other;
    ASSERT_TRUE(other.Connected());
    ASSERT_TRUE(other.StoreTile(kBig, "the other writer's"));
    PT_JSON_IN_PARAM tile;
    tile.data = "{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"the first writer's\"}";
    long long llRowId = -1;
    ASSERT_EQ(insert_request(tile, &llRowId, kBig), 0);

    const std::string sStatus = RunStatus(kBig);
    const std::string sPrefix = "\nwriters: two writers published for this module at the same time at ";
    const std::string sSuffix = " UTC; the store may hold a mix; publish again from one writer\n";
    const std::size_t iAt = sStatus.find(sPrefix);
    ASSERT_NE(iAt, std::string::npos) << sStatus;
    // Between them the time, as "YYYY-MM-DD HH:MM:SS".
    EXPECT_EQ(sStatus.compare(iAt + sPrefix.size() + 19, sSuffix.size(), sSuffix), 0) << sStatus;

    // A publish from one writer makes the store one document again.
    ASSERT_EQ(set_preview_metadata(sDocument.c_str(), kBig.c_str()), 1);
    const std::string sAfter = RunStatus(kBig);
    EXPECT_EQ(sAfter.find("may hold a mix"), std::string::npos) << sAfter;
    EXPECT_NE(sAfter.find("writers: one at a time since "), std::string::npos) << sAfter;
}
