// Identifier-carrying exceptions: records, identifiers, exact types across clone/rethrow,
// the generic raising path and the host's argument-count errors.
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <string>

#include "foundation/core/except/Exception.hpp"
#include "korvan/host/Catalogue.hpp"
#include "korvan/host/Errors.hpp"

namespace {

using foundation::core::except::Exception;
using foundation::core::except::IException;
using foundation::core::except::IMsgIDException;
using resource_core::MsgArgument;

// A message class as a module writes one: two parameters stored in order.
class PathAndCount : public resource_core::BaseMsgID {
  public:
    template <class Text>
    PathAndCount(Text path, int count) : BaseMsgID("KORVAN:exceptTest", "PathAndCount", 2) {
        setArgument(0, path);
        setArgument(1, count);
    }
};

class ExceptionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korvan::host::MessageCatalogue::instance().installComponent(
            "KORVAN:exceptTest", {{"PathAndCount", "File {1} was seen {2} times."}});
    }
    void TearDown() override {
        korvan::host::MessageCatalogue::instance().removeComponent("KORVAN:exceptTest");
    }
};

TEST(BaseMsgIDTest, ConstructorGivesIntegerZeroSlots) {
    resource_core::BaseMsgID id("KORVAN:c", "N", 3);
    ASSERT_EQ(id.getNumberOfArguments(), 3u);
    for (const auto& argument : id.getArguments()) {
        ASSERT_EQ(argument.index(), 0u);
        EXPECT_EQ(std::get<0>(argument), 0);
    }
    EXPECT_EQ(id.getComponent(), "KORVAN:c");
    EXPECT_EQ(id.getName(), "N");
}

TEST(BaseMsgIDTest, SetArgumentKindsAndBounds) {
    resource_core::BaseMsgID id("KORVAN:c", "N", 4);
    id.setArgument(0, static_cast<const char*>(nullptr));
    id.setArgument(1, u"wide");
    id.setArgument(2, std::string("narrow"));
    id.setArgument(3, std::uint16_t{7});
    EXPECT_EQ(id.getArguments()[0], MsgArgument(std::string()));
    EXPECT_EQ(id.getArguments()[1], MsgArgument(std::u16string(u"wide")));
    EXPECT_EQ(id.getArguments()[2], MsgArgument(std::string("narrow")));
    EXPECT_EQ(id.getArguments()[3], MsgArgument(std::int64_t{7}));
    EXPECT_THROW(id.setArgument(4, 1), std::out_of_range);
    EXPECT_THROW(resource_core::BaseMsgID(nullptr, "N", 0), std::logic_error);
}

TEST_F(ExceptionTest, IdentifierAndRecordAreKept) {
    const Exception<PathAndCount> error(PathAndCount(u"/tmp/x", 3));
    EXPECT_EQ(error.GetID(), "KORVAN:exceptTest:PathAndCount");
    EXPECT_EQ(IMsgIDException::get_error_id(error.GetBaseMsgIDObj()),
              "KORVAN:exceptTest:PathAndCount");
    EXPECT_EQ(error.GetBaseMsgIDObj().getArguments()[0], MsgArgument(std::u16string(u"/tmp/x")));
    EXPECT_STREQ(error.what(), "File /tmp/x was seen 3 times.");
    EXPECT_EQ(error.GetUnicodeMessageTxt(), u"File /tmp/x was seen 3 times.");
    // Both bases answer what() with the same text.
    EXPECT_STREQ(static_cast<const std::exception&>(error).what(), error.what());
    EXPECT_STREQ(static_cast<const IException&>(error).what(), error.what());
}

TEST_F(ExceptionTest, CloneAndRethrowKeepExactTypeAndIdentifier) {
    const Exception<PathAndCount> original(PathAndCount("a.txt", 1));
    std::unique_ptr<IException> copy(original.clone());
    auto* exact = dynamic_cast<Exception<PathAndCount>*>(copy.get());
    ASSERT_NE(exact, nullptr);
    EXPECT_EQ(exact->GetID(), original.GetID());
    EXPECT_STREQ(exact->what(), "File a.txt was seen 1 times.");

    try {
        copy->rethrow();
        FAIL() << "rethrow returned";
    } catch (const Exception<PathAndCount>& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:exceptTest:PathAndCount");
        EXPECT_EQ(e.getMsgID().getArguments()[1], MsgArgument(std::int64_t{1}));
    }
}

TEST_F(ExceptionTest, StoredExceptionPtrRethrowsAsItsType) {
    std::exception_ptr stored;
    try {
        throw Exception<PathAndCount>(PathAndCount("b", 2));
    } catch (...) {
        stored = std::current_exception();
    }
    EXPECT_THROW(std::rethrow_exception(stored), Exception<PathAndCount>);
    // The Boost exception part is there for error info.
    EXPECT_THROW(std::rethrow_exception(stored), boost::exception);
}

TEST(HostErrorsTest, ThrowErrorCarriesIdentifierAndEachArgumentKind) {
    try {
        korvan::host::throwError("KORVAN:x", "Y", 42, "utf8", u"utf16", std::int64_t{-5});
        FAIL() << "throwError returned";
    } catch (const IMsgIDException& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:x:Y");
        const auto& arguments = e.GetBaseMsgIDObj().getArguments();
        ASSERT_EQ(arguments.size(), 4u);
        EXPECT_EQ(arguments[0], MsgArgument(std::int64_t{42}));
        EXPECT_EQ(arguments[1], MsgArgument(std::string("utf8")));
        EXPECT_EQ(arguments[2], MsgArgument(std::u16string(u"utf16")));
        EXPECT_EQ(arguments[3], MsgArgument(std::int64_t{-5}));
        EXPECT_STREQ(e.what(),
                     "Message catalogue has no entry for KORVAN:x:Y (arguments: 42, \"utf8\", "
                     "\"utf16\", -5)");
    }
}

// Each standard error: its raising function, its exact type (thrown in the host library,
// caught here), its identifier and a catalogue text shipped with the host.
template <class Tag>
void expectHostError(void (*raise)(), const std::string& id) {
    try {
        raise();
        FAIL() << id << ": nothing thrown";
    } catch (const Exception<Tag>& e) {
        EXPECT_EQ(e.GetID(), id);
        EXPECT_EQ(std::string(e.what()).find("no entry"), std::string::npos)
            << id << " has no text in the shipped catalogue: " << e.what();
        EXPECT_GT(std::string(e.what()).size(), 0u);
    }
}

TEST(HostErrorsTest, StandardErrorsHaveTheirIdentifiersAndTexts) {
    expectHostError<KORVAN::host::TooManyOutputs>(kxErrTooManyOutputs,
                                                  "KORVAN:host:TooManyOutputs");
    expectHostError<KORVAN::host::TooManyInputs>(kxErrTooManyInputs, "KORVAN:host:TooManyInputs");
    expectHostError<KORVAN::host::NotEnoughInputs>(kxErrNotEnoughInputs,
                                                   "KORVAN:host:NotEnoughInputs");
    expectHostError<KORVAN::host::OutOfMemory>(kxErrOutOfMemory, "KORVAN:host:OutOfMemory");
}

TEST(HostErrorsTest, ArgumentCountCheckOrder) {
    struct Case {
        int nlhs, maxOut, nrhs, minIn, maxIn;
        const char* expected;  // nullptr: no error
    };
    // clang-format off
    const Case cases[] = {
        {1, 1, 2, 1, 2, nullptr},
        {0, 0, 0, 0, 0, nullptr},
        {2, 1, 2, 1, 2, "KORVAN:host:TooManyOutputs"},
        {2, 1, 9, 1, 2, "KORVAN:host:TooManyOutputs"},  // outputs are checked first
        {1, 1, 0, 1, 2, "KORVAN:host:NotEnoughInputs"},
        {1, 1, 3, 1, 2, "KORVAN:host:TooManyInputs"},
        {1, 1, 50, 1, -1, nullptr}, // no upper limit
    };
    // clang-format on
    for (const auto& c : cases) {
        std::string got;
        try {
            kxCheckArgumentCounts(c.nlhs, c.maxOut, c.nrhs, c.minIn, c.maxIn);
        } catch (const IMsgIDException& e) {
            got = e.GetID();
        }
        EXPECT_EQ(got, c.expected ? c.expected : "") << "nlhs=" << c.nlhs << " nrhs=" << c.nrhs;
    }
}

}  // namespace
