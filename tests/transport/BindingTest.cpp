#include <gtest/gtest.h>
#include <pelmo_service_gdbus_generated.h>

#include <string>

TEST(Binding, InterfaceHasExactlyOneMethodNoSignalsNoProperties)
{
    GDBusInterfaceInfo* pInfo = org_orvik_pelmo_service_interface_info();
    ASSERT_NE(pInfo, nullptr);
    EXPECT_STREQ(pInfo->name, "org.orvik.pelmo_service");
    ASSERT_NE(pInfo->methods, nullptr);
    ASSERT_NE(pInfo->methods[0], nullptr);
    EXPECT_EQ(pInfo->methods[1], nullptr);
    EXPECT_TRUE(pInfo->signals == nullptr || pInfo->signals[0] == nullptr);
    EXPECT_TRUE(pInfo->properties == nullptr || pInfo->properties[0] == nullptr);
    GDBusMethodInfo* pCall = pInfo->methods[0];
    EXPECT_STREQ(pCall->name, "Call");
    const char* vecIn[] = {"methodname", "packagename", "inputdata"};
    for (int i = 0; i < 3; ++i) {
        ASSERT_NE(pCall->in_args[i], nullptr);
        EXPECT_STREQ(pCall->in_args[i]->name, vecIn[i]);
        EXPECT_STREQ(pCall->in_args[i]->signature, "s");
    }
    EXPECT_EQ(pCall->in_args[3], nullptr);
    EXPECT_STREQ(pCall->out_args[0]->name, "result");
    EXPECT_STREQ(pCall->out_args[0]->signature, "b");
    EXPECT_STREQ(pCall->out_args[1]->name, "output");
    EXPECT_STREQ(pCall->out_args[1]->signature, "s");
    EXPECT_EQ(pCall->out_args[2], nullptr);
}

TEST(Binding, TypeNamesFollowTheInterface)
{
    EXPECT_STREQ(g_type_name(org_orvik_pelmo_service_get_type()), "OrgOrvikPelmo_service");
    EXPECT_STREQ(g_type_name(org_orvik_pelmo_service_proxy_get_type()), "OrgOrvikPelmo_serviceProxy");
    EXPECT_STREQ(g_type_name(org_orvik_pelmo_service_skeleton_get_type()), "OrgOrvikPelmo_serviceSkeleton");
    // The interface registers its signal when its default vtable is first initialised.
    gpointer pIface = g_type_default_interface_ref(org_orvik_pelmo_service_get_type());
    const guint uSignal = g_signal_lookup("handle-call", org_orvik_pelmo_service_get_type());
    ASSERT_NE(uSignal, 0u);
    GSignalQuery query;
    g_signal_query(uSignal, &query);
    EXPECT_EQ(query.return_type, G_TYPE_BOOLEAN);
    EXPECT_EQ(query.n_params, 4u);
    EXPECT_TRUE(query.signal_flags & G_SIGNAL_RUN_LAST);
    g_type_default_interface_unref(pIface);
}

TEST(Binding, OverridePropertiesUsesNoIds)
{
    GObjectClass* pClass = G_OBJECT_CLASS(g_type_class_ref(org_orvik_pelmo_service_skeleton_get_type()));
    EXPECT_EQ(org_orvik_pelmo_service_override_properties(pClass, 5), 4u);
    g_type_class_unref(pClass);
}

TEST(Binding, SkeletonIntrospectionShowsTheArgumentNames)
{
    OrgOrvikPelmo_service* pSkeleton = org_orvik_pelmo_service_skeleton_new();
    GDBusInterfaceInfo* pInfo = g_dbus_interface_skeleton_get_info(G_DBUS_INTERFACE_SKELETON(pSkeleton));
    GString* pXml = g_string_new(nullptr);
    g_dbus_interface_info_generate_xml(pInfo, 0, pXml);
    const std::string sXml = pXml->str;
    g_string_free(pXml, TRUE);
    g_object_unref(pSkeleton);
    for (const char* sArg : {"methodname", "packagename", "inputdata", "result", "output"}) {
        EXPECT_NE(sXml.find(std::string("name=\"") + sArg + "\""), std::string::npos) << sXml;
    }
}
