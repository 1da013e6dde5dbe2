#include <gtest/gtest.h>

#include <tuple>

#include "CVRecordSamples.h"
#include "model/CVKeyedCoding.h"
#include "model/CVWireCoding.h"

namespace {

std::shared_ptr<CVCLISerializedObject> throughWire(const CVCLISerializedObject& record) {
    WireMessage message(
        [&](sd_bus_message* m) { EXPECT_EQ(CVWireCoding::appendInvocation(m, record), 0); });
    std::string why;
    auto decoded = CVWireCoding::readRecord(message.get(), &why);
    EXPECT_EQ(why, "");
    return decoded;
}

std::shared_ptr<CVCLISerializedObject> throughPropertyList(const CVCLISerializedObject& record) {
    CVPlist dictionary = CVKeyedCoding::propertyListForRecord(record);
    CVPlist reread = CVPropertyList::fromData(
        CVPropertyList::toData(dictionary.get(), CVPropertyList::Format::binary));
    std::string why;
    auto decoded = CVKeyedCoding::recordFromPropertyList(reread.get(), &why);
    EXPECT_EQ(why, "");
    return decoded;
}

// Writes the values as sd_bus_message_append takes them.
template <typename... Values>
std::function<void(sd_bus_message*)> appending(Values... values) {
    return [=](sd_bus_message* m) { EXPECT_GE(sd_bus_message_append(m, values...), 0); };
}

}  // namespace

TEST(TheWireAndKeyedCodings, GiveBackEveryRecordClassFieldByField) {
    for (const auto& record : everyRecordClass()) {
        for (auto through : {throughWire, throughPropertyList}) {
            SCOPED_TRACE(record->className() + (through == throughWire ? " wire" : " keyed"));
            auto decoded = through(*record);
            ASSERT_NE(decoded, nullptr);
            EXPECT_TRUE(decoded->isEqualTo(*record));
        }
    }
}

TEST(TheWireCoding, SendsAnInvocationWithOnlyAFileListAsEightValuesInKeyOrder) {
    CVCLISerializedDiffInvocation invocation;
    invocation.setFileList(std::make_shared<CVCLISerializedFileList>());
    invocation.setParentProcessName("zsh");
    WireMessage message(
        [&](sd_bus_message* m) { EXPECT_EQ(CVWireCoding::appendInvocation(m, invocation), 0); });
    sd_bus_message* m = message.get();
    ASSERT_GE(sd_bus_message_enter_container(m, 'v', "(sav)"), 0);
    ASSERT_GE(sd_bus_message_enter_container(m, 'r', "sav"), 0);
    const char* className = nullptr;
    ASSERT_GE(sd_bus_message_read_basic(m, 's', &className), 0);
    EXPECT_STREQ(className, "CVCLISerializedDiffInvocation");
    ASSERT_GE(sd_bus_message_enter_container(m, 'a', "v"), 0);
    std::vector<std::string> signatures;
    while (sd_bus_message_at_end(m, 0) == 0) {
        char type = 0;
        const char* contents = nullptr;
        ASSERT_GT(sd_bus_message_peek_type(m, &type, &contents), 0);
        signatures.emplace_back(contents);
        ASSERT_GE(sd_bus_message_skip(m, "v"), 0);
    }
    EXPECT_EQ(signatures, (std::vector<std::string>{"(sav)", "g", "g", "g", "g", "b", "i", "s"}));
}

TEST(TheWireDecoder, RefusesWhatDoesNotMatchTheRecordClasses) {
    auto nestedTooDeeply = [](sd_bus_message* m) {
        sd_bus_message_open_container(m, 'v', "(sav)");
        sd_bus_message_open_container(m, 'r', "sav");
        sd_bus_message_append(m, "s", "CVCLISerializedChangeset");
        sd_bus_message_open_container(m, 'a', "v");
        for (int level = 0; level < 40; ++level) {
            sd_bus_message_open_container(m, 'v', "av");
            sd_bus_message_open_container(m, 'a', "v");
        }
        for (int level = 0; level < 83; ++level) {
            sd_bus_message_close_container(m);
        }
    };
    const std::pair<std::function<void(sd_bus_message*)>, std::string> cases[] = {
        {appending("v", "(sav)", "CVCLISerializedNothing", 0),
         "unknown class name \"CVCLISerializedNothing\""},
        {appending("v", "(sav)", "CVCLISerializedFile", 3, "s", "/x", "g", "", "g", ""),
         "CVCLISerializedFile: 3 values for 4 keys"},
        {appending("v", "(sav)", "CVCLISerializedFile", 4, "s", "/x", "s", "yes", "g", "", "g", ""),
         "CVCLISerializedFile: key \"temporary\" expects boolean or nil, found string"},
        {appending("v", "(sav)", "CVCLISerializedFileList", 4, "g", "", "i", 1, "g", "", "g", ""),
         "CVCLISerializedFileList: key \"status\" expects int64, found int32"},
        {appending("v", "(sav)", "CVCLISerializedFileList", 4, "av", 1, "s", "/x", "x", int64_t(0),
                   "g", "", "g", ""),
         "CVCLISerializedFileList: key \"files\" expects array of CVCLISerializedFile or nil, "
         "found array holding string"},
        {appending("v", "(sav)", "CVCLISerializedMerge", 4, "g", "", "(sav)",
                   "CVCLISerializedFileList", 4, "g", "", "x", int64_t(0), "g", "", "g", "", "g",
                   "", "g", ""),
         "CVCLISerializedMerge: key \"outputFile\" expects CVCLISerializedFile or nil, found "
         "CVCLISerializedFileList"},
        {appending("v", "u", 7u), "unsupported value type \"u\""},
        {appending("v", "s", "text"), "expected a record, found string"},
        {nestedTooDeeply, "values nested deeper than 32 levels"},
    };
    for (const auto& [write, refusal] : cases) {
        SCOPED_TRACE(refusal);
        WireMessage message(write);
        std::string why;
        EXPECT_EQ(CVWireCoding::readRecord(message.get(), &why), nullptr);
        EXPECT_EQ(why, refusal);
    }
}

TEST(TheWireCoding, CarriesAStringOrNil) {
    WireMessage message([](sd_bus_message* m) {
        EXPECT_EQ(CVWireCoding::appendStringOrNil(m, "GUID-1"), 0);
        EXPECT_EQ(CVWireCoding::appendStringOrNil(m, std::nullopt), 0);
        sd_bus_message_append(m, "v", "i", 3);
    });
    std::optional<std::string> text;
    EXPECT_EQ(CVWireCoding::readStringOrNil(message.get(), &text), 0);
    EXPECT_EQ(text, "GUID-1");
    EXPECT_EQ(CVWireCoding::readStringOrNil(message.get(), &text), 0);
    EXPECT_EQ(text, std::nullopt);
    EXPECT_EQ(CVWireCoding::readStringOrNil(message.get(), &text), -EBADMSG);
}

TEST(TheKeyedDecoder, RefusesUnknownClassesKeysAndTypes) {
    auto refusal = [](const std::function<void(plist_t)>& change) {
        CVPlist dictionary = CVKeyedCoding::propertyListForRecord(*sampleFile("/a"));
        change(dictionary.get());
        std::string why;
        EXPECT_EQ(CVKeyedCoding::recordFromPropertyList(dictionary.get(), &why), nullptr);
        return why;
    };
    EXPECT_EQ(refusal([](plist_t d) { plist_dict_set_item(d, "$class", plist_new_string("X")); }),
              "unknown class name \"X\"");
    EXPECT_EQ(refusal([](plist_t d) { plist_dict_set_item(d, "color", plist_new_bool(1)); }),
              "CVCLISerializedFile: no key \"color\"");
    EXPECT_EQ(refusal([](plist_t d) { plist_dict_set_item(d, "filePath", plist_new_bool(1)); }),
              "CVCLISerializedFile: key \"filePath\" expects string or nil, found boolean");
}

TEST(ARecord, RefusesAValueItsKeyDoesNotTakeAndKeepsItsOwn) {
    auto invocation = sampleInvocation();
    CVCodedValue::Array filesAndNil = {CVCodedValue(sampleFile("/b")), CVCodedValue()};
    const std::vector<
        std::tuple<std::shared_ptr<CVCLISerializedObject>, std::string, CVCodedValue, std::string>>
        cases = {
            {invocation->fileList(), "colour", CVCodedValue(true),
             "CVCLISerializedFileList: no key \"colour\""},
            {invocation, "parentPID", CVCodedValue(int64_t(7)),
             "CVCLISerializedDiffInvocation: key \"parentPID\" expects int32, found int64"},
            {invocation, "waitForTabClose", CVCodedValue(),
             "CVCLISerializedDiffInvocation: key \"waitForTabClose\" expects boolean, found nil"},
            {invocation, "changeset", CVCodedValue(invocation->fileList()),
             "CVCLISerializedDiffInvocation: key \"changeset\" expects CVCLISerializedChangeset or "
             "nil, found CVCLISerializedFileList"},
            {invocation->fileList(), "files", CVCodedValue(filesAndNil),
             "CVCLISerializedFileList: key \"files\" expects array of CVCLISerializedFile or nil, "
             "found array holding nil"},
            {invocation->fileList(), "label", CVCodedValue(filesAndNil),
             "CVCLISerializedFileList: key \"label\" expects string or nil, found array"},
        };
    for (const auto& [record, key, value, refusal] : cases) {
        CVCodedValue before = record->valueForKey(key);
        EXPECT_EQ(record->setValueForKey(value, key), refusal);
        EXPECT_EQ(record->valueForKey(key), before) << key;
    }
    EXPECT_EQ(invocation->setValueForKey(CVCodedValue(), "changeset"), std::nullopt);
    EXPECT_EQ(invocation->changeset(), nullptr);
    EXPECT_EQ(invocation->fileList()->setValueForKey(CVCodedValue(int64_t(2)), "status"),
              std::nullopt);
    EXPECT_EQ(invocation->fileList()->status(), 2);
}
