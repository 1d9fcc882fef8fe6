// What platform/config.h promises.
#include "platform/config.h"

#include "tests/contract/world.h"

namespace {

class config : public contract {
protected:
    // The whole configuration's member "m", which holds this.
    Json::Value member(const std::string &json) {
        Json::Value value;
        world_.configuration_is("{\"m\":" + json + "}");
        EXPECT_EQ(cmd_get_value_json("m", value), 0) << json;
        return value;
    }
};

TEST_F(config, a_path_fetches_its_subtree) {
    world_.configuration_is(R"({"hardware":{"wireless":{"cell":{"module":"EC25"}}}})");
    Json::Value value;
    EXPECT_EQ(cmd_get_value_json("hardware.wireless.cell", value), 0);
    EXPECT_EQ(value["module"].asString(), "EC25");
    EXPECT_EQ(cmd_get_value_json("hardware", value), 0);
    EXPECT_TRUE(value.isMember("wireless"));
}

TEST_F(config, a_path_that_names_nothing_is_null) {
    world_.configuration_is(R"({"a":{"b":1},"list":[1,2]})");
    for (const char *path : {"b", "a.c", "a.b.c", "", ".", "a.", ".a", "a..b", "list.0", "A"}) {
        Json::Value value("odd");
        EXPECT_EQ(cmd_get_value_json(path, value), 0) << path;
        EXPECT_TRUE(value.isNull()) << path;
    }
}

TEST_F(config, a_member_that_is_null_is_there) {
    EXPECT_TRUE(member("null").isNull());
}

TEST_F(config, a_store_that_cannot_answer_leaves_the_output) {
    Json::Value value("odd");
    world_.configuration_is_missing();
    EXPECT_NE(cmd_get_value_json("m", value), 0);
    for (const char *text : {"", "{", "{\"m\":", "no json", "[1]"}) {
        world_.configuration_is(text);
        EXPECT_NE(cmd_get_value_json("m", value), 0) << text;
    }
    EXPECT_EQ(value.asString(), "odd");
}

TEST_F(config, a_store_that_answers_later_is_asked_anew) {
    Json::Value value;
    world_.configuration_is_missing();
    EXPECT_NE(cmd_get_value_json("m", value), 0);
    world_.configuration_is(R"({"m":1})");
    EXPECT_EQ(cmd_get_value_json("m", value), 0);
    EXPECT_EQ(value.asInt(), 1);
}

TEST_F(config, a_dotted_key_walks_objects) {
    const Json::Value value = member(R"({"wireless":{"cell":{"mtu":1400,"name":"x","on":true}}})");
    int number = 0;
    std::string text;
    bool flag = false;
    EXPECT_TRUE(config_get_int(value, &number, "wireless.cell.mtu"));
    EXPECT_EQ(number, 1400);
    EXPECT_TRUE(config_get_string(value, &text, "wireless.cell.name"));
    EXPECT_EQ(text, "x");
    EXPECT_TRUE(config_get_bool(value, &flag, "wireless.cell.on"));
    EXPECT_TRUE(flag);
}

TEST_F(config, each_reader_takes_its_own_type_and_leaves_its_output_otherwise) {
    struct row {
        const char *why;
        const char *json;
        bool is_string, is_int, is_bool;
    };
    static constexpr row ROWS[] = {
        {"text", R"("x")", true, false, false},
        {"empty text", R"("")", true, false, false},
        {"text that looks like a number", R"("7")", true, false, false},
        {"number", "7", false, true, false},
        {"zero", "0", false, true, false},
        {"negative", "-1", false, true, false},
        {"the greatest", "2147483647", false, true, false},
        {"one more", "2147483648", false, false, false},
        {"the least", "-2147483648", false, true, false},
        {"one less", "-2147483649", false, false, false},
        {"beyond 64 bits", "99999999999999999999", false, false, false},
        {"a fraction of zero is a fraction", "1.0", false, false, false},
        {"fraction", "1.5", false, false, false},
        {"exponent", "1e3", false, false, false},
        {"true", "true", false, false, true},
        {"false", "false", false, false, true},
        {"null", "null", false, false, false},
        {"object", "{}", false, false, false},
        {"list", "[7]", false, false, false},
    };
    for (const row &each : ROWS) {
        SCOPED_TRACE(each.why);
        const Json::Value value = member(std::string("{\"k\":") + each.json + "}");
        std::string text = "odd";
        int number = 4711;
        EXPECT_EQ(config_get_string(value, &text, "k"), each.is_string);
        EXPECT_EQ(text == "odd", !each.is_string);
        EXPECT_EQ(config_get_int(value, &number, "k"), each.is_int);
        EXPECT_EQ(number == 4711, !each.is_int);
        for (const bool before : {false, true}) {
            bool flag = before;
            EXPECT_EQ(config_get_bool(value, &flag, "k"), each.is_bool);
            EXPECT_EQ(flag, each.is_bool ? std::string(each.json) == "true" : before);
        }
    }
}

TEST_F(config, a_key_that_names_nothing_leaves_the_output) {
    const Json::Value value = member(R"({"a":{"b":7},"list":[7]})");
    int number = 4711;
    for (const char *key : {"b", "a.c", "a.b.c", "", "a.", "list.0", "A.b"}) {
        EXPECT_FALSE(config_get_int(value, &number, key)) << key;
    }
    for (const Json::Value &no_object :
         {Json::Value(), Json::Value(7), Json::Value("b"), Json::Value(Json::arrayValue)}) {
        EXPECT_FALSE(config_get_int(no_object, &number, "b"));
    }
    EXPECT_EQ(number, 4711);
}

}  // namespace
