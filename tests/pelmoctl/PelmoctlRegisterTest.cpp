// pelmoctl register: the module's accelerator row, once.
#include "PelmoctlStoreFixture.h"

using PelmoctlRegister = PelmoctlTest;

TEST_F(PelmoctlRegister, InsertsTheAcceleratorRowWithTheTitle)
{
    const PT_CHILD_RESULT result = Host({"register", "org.example.player", "--title", "My Player"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut, "registered org.example.player (accelerator row 1)\n");
    EXPECT_EQ(result.sErr, "");
    EXPECT_EQ(CountRows("accelerators", "org.example.player"), 1);
    EXPECT_EQ(FirstValue("accelerators", "accelerator_title", "org.example.player"), "My Player");
    EXPECT_EQ(FirstValue("accelerators", "app_pkg_name", "org.example.player"), "org.example.player");
}

TEST_F(PelmoctlRegister, TitleDefaultsToTheModuleName)
{
    const PT_CHILD_RESULT result = Host({"register", "org.example.radio"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(FirstValue("accelerators", "accelerator_title", "org.example.radio"), "org.example.radio");
}

TEST_F(PelmoctlRegister, RegisteringAgainChangesNothingAndSucceeds)
{
    ASSERT_EQ(Host({"register", "org.example.player", "--title", "First"}).iExit, 0);
    const std::string sBefore = DumpStore();
    const PT_CHILD_RESULT result = Host({"register", "org.example.player", "--title", "Second"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut, "org.example.player is already registered (accelerator row 1)\n");
    EXPECT_EQ(DumpStore(), sBefore);
    EXPECT_EQ(CountRows("accelerators"), 1);
}

TEST_F(PelmoctlRegister, ModulesAreRegisteredEachWithTheirOwnRow)
{
    ASSERT_EQ(Host({"register", "org.example.a"}).iExit, 0);
    const PT_CHILD_RESULT result = Host({"register", "org.example.b"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut, "registered org.example.b (accelerator row 2)\n");
    EXPECT_EQ(CountRows("accelerators", "org.example.a"), 1);
    EXPECT_EQ(CountRows("accelerators", "org.example.b"), 1);
}

TEST_F(PelmoctlRegister, EmptyModuleNameFailsInOneLineAndChangesNothing)
{
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"register", ""}), "register", "the module name is empty");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlRegister, ModuleNameTheStoreRefusesFailsInOneLineWithItsReason)
{
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"register", std::string(300, 'm')}), "register", "module name too long");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlRegister, WrongArgumentsAreAUsageError)
{
    for (const std::vector<std::string>& vecArgs : {std::vector<std::string>{"register"},
                                                    {"register", "a", "b"},
                                                    {"register", "a", "--title"},
                                                    {"register", "a", "--colour", "red"}}) {
        const PT_CHILD_RESULT result = Host(vecArgs);
        EXPECT_EQ(result.iExit, 2) << result.sErr;
        EXPECT_NE(result.sErr.find("usage: pelmoctl register MODULE"), std::string::npos) << result.sErr;
    }
    EXPECT_EQ(CountRows("accelerators"), 0);
}
