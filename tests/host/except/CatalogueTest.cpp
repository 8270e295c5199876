// The message catalogue: resource files, hole filling with each argument kind, missing
// entries, and concurrent use.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "korvan/host/Catalogue.hpp"
#include "korvan/host/Errors.hpp"

namespace {

using korvan::host::MessageCatalogue;
using resource_core::BaseMsgID;
using resource_core::MsgArgument;

class CatalogueFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        fDir = std::filesystem::temp_directory_path() /
               ("korvan_catalogue_test_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(fDir);
        std::filesystem::create_directories(fDir);
    }
    void TearDown() override { std::filesystem::remove_all(fDir); }
    std::filesystem::path write(const std::string& name, const std::string& content) {
        std::ofstream(fDir / name, std::ios::binary) << content;
        return fDir / name;
    }
    std::filesystem::path fDir;
};

TEST_F(CatalogueFiles, LoadsOneComponentFile) {
    MessageCatalogue catalogue;
    auto file = write("a.json", R"({"component": "KORVAN:a",
        "messages": {"One": "first {1}", "Two": "caf\u00e9"}})");
    EXPECT_EQ(catalogue.loadFile(file), "KORVAN:a");
    EXPECT_EQ(catalogue.lookup("KORVAN:a", "One"), "first {1}");
    EXPECT_EQ(catalogue.lookup("KORVAN:a", "Two"), "caf\xc3\xa9");
    EXPECT_EQ(catalogue.lookup("KORVAN:a", "Three"), std::nullopt);
    EXPECT_EQ(catalogue.lookup("KORVAN:b", "One"), std::nullopt);
}

TEST_F(CatalogueFiles, RejectsMalformedFilesAndKeepsOldTexts) {
    const char* bad[] = {
        "not json",
        R"([1, 2])",
        R"({"messages": {}})",
        R"({"component": "", "messages": {}})",
        R"({"component": "KORVAN:a", "messages": []})",
        R"({"component": "KORVAN:a", "messages": {"One": 5}})",
    };
    MessageCatalogue catalogue;
    catalogue.installComponent("KORVAN:a", {{"One", "kept"}});
    for (const char* content : bad) {
        auto file = write("bad.json", content);
        EXPECT_THROW(catalogue.loadFile(file), std::runtime_error) << content;
    }
    EXPECT_EQ(catalogue.lookup("KORVAN:a", "One"), "kept");
    EXPECT_THROW(catalogue.loadFile(fDir / "absent.json"), std::runtime_error);
}

TEST_F(CatalogueFiles, FolderLoadsJsonFilesInNameOrder) {
    write("1.json", R"({"component": "KORVAN:a", "messages": {"One": "old", "Two": "two"}})");
    write("2.json", R"({"component": "KORVAN:a", "messages": {"One": "new"}})");
    write("3.json", R"({"component": "KORVAN:b", "messages": {"One": "b"}})");
    write("notes.txt", "ignored");
    MessageCatalogue catalogue;
    EXPECT_EQ(catalogue.loadFolder(fDir), 3u);
    EXPECT_EQ(catalogue.lookup("KORVAN:a", "One"), "new");
    EXPECT_EQ(catalogue.lookup("KORVAN:a", "Two"), "two");
    EXPECT_EQ(catalogue.lookup("KORVAN:b", "One"), "b");
    EXPECT_EQ(catalogue.loadFolder(fDir / "missing"), 0u);
}

TEST(CatalogueRender, FillsHolesWithEachArgumentKind) {
    MessageCatalogue catalogue;
    catalogue.installComponent("KORVAN:r", {{"M", "int {1}, utf8 {2}, utf16 {3}."}});
    BaseMsgID id("KORVAN:r", "M", 3);
    id.setArgument(0, std::int64_t{-9007199254740993});
    id.setArgument(1, "h\xc3\xa9llo");
    id.setArgument(2, u"w\u00f6rld \U0001F600");
    EXPECT_EQ(catalogue.render(id),
              u"int -9007199254740993, utf8 h\u00e9llo, utf16 w\u00f6rld \U0001F600.");
    EXPECT_EQ(catalogue.renderUtf8(id),
              "int -9007199254740993, utf8 h\xc3\xa9llo, utf16 w\xc3\xb6rld \xf0\x9f\x98\x80.");
}

TEST(CatalogueRender, HoleRules) {
    const std::vector<MsgArgument> args = {std::int64_t{1}, std::string("two")};
    struct Case {
        const char16_t* text;
        const char16_t* expected;
    };
    const Case cases[] = {
        {u"{2} then {1}", u"two then 1"},
        {u"{1}{1}", u"11"},
        {u"no holes", u"no holes"},
        {u"{3} stays", u"{3} stays"},
        {u"{0} stays", u"{0} stays"},
        {u"{{1}} escaped", u"{1}} escaped"},
        {u"{x} {", u"{x} {"},
        {u"{1", u"{1"},
        {u"{99999999999999999999}", u"{99999999999999999999}"},
        {u"", u""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MessageCatalogue::fillHoles(c.text, args), c.expected);
    }
}

TEST(CatalogueRender, MissingEntryNamesIdentifierAndArguments) {
    MessageCatalogue catalogue;
    catalogue.installComponent("KORVAN:r", {{"Other", "x"}});
    BaseMsgID none("KORVAN:r", "Absent", 0);
    EXPECT_EQ(catalogue.renderUtf8(none),
              "Message catalogue has no entry for KORVAN:r:Absent (arguments: none)");
    BaseMsgID two("KORVAN:nothing", "Here", 2);
    two.setArgument(1, u"t");
    EXPECT_EQ(catalogue.renderUtf8(two),
              "Message catalogue has no entry for KORVAN:nothing:Here (arguments: 0, \"t\")");
}

TEST(CatalogueRender, ProcessCatalogueHasTheShippedHostTexts) {
    // Loaded from the build's resource folder on first use.
    auto& catalogue = MessageCatalogue::instance();
    EXPECT_EQ(catalogue.renderUtf8(KORVAN::host::TooManyOutputs()), "Too many output arguments.");
    EXPECT_TRUE(catalogue.lookup("KORVAN:string", "MissingNotSupported").has_value());
}

TEST(CatalogueRender, ConcurrentInstallAndRender) {
    MessageCatalogue catalogue;
    catalogue.installComponent("KORVAN:t", {{"M", "value {1}"}});
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            BaseMsgID id("KORVAN:t", "M", 1);
            id.setArgument(0, 7);
            while (!stop.load()) {
                const auto text = catalogue.renderUtf8(id);
                if (text != "value 7" && text != "VALUE 7") {
                    ++wrong;
                }
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        catalogue.installComponent("KORVAN:t", {{"M", i % 2 ? "VALUE {1}" : "value {1}"},
                                                {"N" + std::to_string(i), "filler"}});
    }
    stop = true;
    for (auto& t : readers) {
        t.join();
    }
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
