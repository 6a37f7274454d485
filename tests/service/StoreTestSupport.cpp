#include "StoreTestSupport.h"

std::string ToText(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

Json::Value UpdateOfOneRow(const std::string& sUri, long long llRowId,
                           std::initializer_list<std::pair<const char*, Json::Value>> columns)
{
    Json::Value row;
    row["bulk_update_row_id_key"] = std::to_string(llRowId);
    for (const auto& column : columns) row[column.first] = column.second;
    Json::Value update;
    update["table_name"] = sUri;
    update["arrayitem"].append(row);
    return update;
}

Json::Value ParseJsonText(const std::string& sText)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::string sErrors;
    std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
    EXPECT_TRUE(pReader->parse(sText.data(), sText.data() + sText.size(), &value, &sErrors)) << sText;
    return value;
}

std::ostream& operator<<(std::ostream& stream, const CRowCounts& counts)
{
    return stream << "{accelerators=" << counts.llAccelerators << ", sections=" << counts.llSections
                  << ", tiles=" << counts.llTiles << "}";
}

void CStoreFixture::Open(const std::string& sPath)
{
    m_pHandler.reset();
    m_pDatabase = std::make_unique<CStoreDatabase>();
    std::string sError;
    ASSERT_TRUE(m_pDatabase->Open(sPath, sError)) << sError;
    m_pHandler = std::make_unique<CStoreRequestHandler>(*m_pDatabase, m_publisher);
}

CStoreReply CStoreFixture::Call(const std::string& sMethod, const std::string& sModule, const Json::Value& input)
{
    return m_pHandler->Handle(sMethod, sModule, ToText(input), m_caller);
}

CStoreReply CStoreFixture::CallText(const std::string& sMethod, const std::string& sModule, const std::string& sInput)
{
    return m_pHandler->Handle(sMethod, sModule, sInput, m_caller);
}

namespace {
long long RowIdOf(const CStoreReply& reply)
{
    EXPECT_TRUE(reply.bResult) << reply.sOutput;
    if (!reply.bResult) return -1;
    return std::stoll(reply.sOutput);
}
}  // namespace

long long CStoreFixture::AddAccelerator(const std::string& sModule, const std::string& sTitle)
{
    Json::Value row;
    row["table_name"] = StoreUris::kAccelerators;
    row["accelerator_title"] = sTitle;
    row["accelerator_enabled"] = "1";
    return RowIdOf(Call("insert", sModule, row));
}

long long CStoreFixture::AddSection(const std::string& sModule, long long llAccelerator, const std::string& sTitle)
{
    Json::Value row;
    row["table_name"] = StoreUris::kSections;
    row["section_title"] = sTitle;
    row["section_accelerator_raw_id"] = std::to_string(llAccelerator);
    return RowIdOf(Call("insert", sModule, row));
}

Json::Value TileRow(long long llSection, const std::string& sTitle)
{
    Json::Value row;
    row["table_name"] = StoreUris::kTiles;
    row["tile_title"] = sTitle;
    row["tile_section_raw_id"] = std::to_string(llSection);
    return row;
}

long long CStoreFixture::AddTile(const std::string& sModule, long long llSection, const std::string& sTitle)
{
    return RowIdOf(Call("insert", sModule, TileRow(llSection, sTitle)));
}

Json::Value CStoreFixture::Envelope(const std::string& sUri, const std::string& sWhere,
                                    std::initializer_list<std::string> listArgs)
{
    Json::Value envelope;
    envelope["table_name"] = sUri;
    envelope["where"] = sWhere;
    envelope["group_by"] = "";
    for (const std::string& sArg : listArgs) envelope["where_args"].append(sArg);
    return envelope;
}

const CResultTable* CStoreFixture::Select(const std::string& sModule, const Json::Value& envelope, std::string* pReason)
{
    const CStoreReply reply = Call("select", sModule, envelope);
    if (!reply.bResult) {
        if (pReason != nullptr) *pReason = reply.sOutput;
        return nullptr;
    }
    Json::Value answer;
    Json::CharReaderBuilder builder;
    std::string sErrors;
    std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
    if (!pReader->parse(reply.sOutput.data(), reply.sOutput.data() + reply.sOutput.size(), &answer, &sErrors)) {
        ADD_FAILURE() << "select answer is not JSON: " << reply.sOutput;
        return nullptr;
    }
    return m_publisher.Find(answer["key"].asString());
}

CRowCounts CStoreFixture::Counts()
{
    CRowCounts counts;
    counts.llAccelerators = m_pDatabase->CountRows("accelerators");
    counts.llSections = m_pDatabase->CountRows("sections");
    counts.llTiles = m_pDatabase->CountRows("tiles");
    return counts;
}
