#include "platform/config.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/becomes_true.h"
#include "tests/support/environment_variable.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr char router[] = R"({
  "hardware": { "wireless": { "cell": { "module": "EC25" } } },
  "network": { "wireless": { "cell": { "mtu": 1400, "mtu_override": true } }, "list": [ { "x": 1 } ], "none": null }
})";

class configuration : public testing::Test {
protected:
    // The result of one question; stderr is caught beside it.
    int ask(const char *path) {
        testing::internal::CaptureStderr();
        const int result = cmd_get_value_json(path, answer_);
        complaint_ = testing::internal::GetCapturedStderr();
        return result;
    }
    void expect_refused(const std::string &content, const std::string &complaint, const char *why) {
        folder_.write("config.json", content);
        answer_ = "as it was";
        EXPECT_NE(ask("network"), 0) << why;
        EXPECT_EQ(answer_, Json::Value("as it was")) << why;
        EXPECT_EQ(complaint_, complaint.empty() ? "" : waiting_ + complaint + "\n") << why;
    }

    temporary_folder folder_;
    std::string file_ = folder_.path("config.json");
    environment_variable variable_{"ZELT_CONFIG", file_};
    Json::Value answer_ = "as it was";
    std::string complaint_;
    const std::string waiting_ = "zelt: waiting for the configuration: " + file_ + ": ";
    const std::string absent_ =
        waiting_ + "does not exist; write it, an empty one is {}, or name another one in ZELT_CONFIG\n";
};

TEST_F(configuration, a_path_walks_objects) {
    folder_.write("config.json", router);
    EXPECT_EQ(ask("hardware.wireless.cell"), 0);
    EXPECT_EQ(answer_["module"].asString(), "EC25");
    EXPECT_EQ(ask("network.wireless.cell.mtu"), 0);
    EXPECT_EQ(answer_, Json::Value(1400));
    EXPECT_EQ(complaint_, "");
}

TEST_F(configuration, a_member_that_is_null_is_there) {
    folder_.write("config.json", router);
    EXPECT_EQ(ask("network.none"), 0);
    EXPECT_TRUE(answer_.isNull());
}

// Whoever waits for an answer would wait for ever otherwise: the first connection asks for "network".
TEST_F(configuration, a_path_that_names_nothing_is_answered_with_null_and_told_once) {
    folder_.write("config.json", router);
    for (const char *path :
         {"absent", "network.absent", "network.wireless.cell.mtu.deeper", "network.list.0", "network.list.x",
          "network.none.x", "", ".", "network.", ".network", "network..wireless"}) {
        answer_ = "as it was";
        EXPECT_EQ(ask(path), 0) << path;
        EXPECT_TRUE(answer_.isNull()) << path;
        EXPECT_EQ(complaint_, "zelt: " + file_ + " holds no \"" + path + "\"; it counts as empty\n");
        EXPECT_EQ(ask(path), 0) << path;
        EXPECT_EQ(complaint_, "") << path;
    }
}

TEST_F(configuration, an_empty_object_is_a_whole_configuration) {
    folder_.write("config.json", "{}");
    EXPECT_EQ(ask("network"), 0);
    EXPECT_TRUE(answer_.isNull());
}

TEST_F(configuration, the_file_may_appear_and_change_at_any_time) {
    EXPECT_NE(ask("a"), 0);
    folder_.write("config.json", R"({"a": 1})");
    EXPECT_EQ(ask("a"), 0);
    EXPECT_EQ(answer_, Json::Value(1));
    folder_.write("config.json", R"({"a": 2})");
    EXPECT_EQ(ask("a"), 0);
    EXPECT_EQ(answer_, Json::Value(2));
}

// Half a file is no JSON: who writes it anew, emptying it first, is never read half way.
TEST_F(configuration, a_file_that_changes_while_it_is_read_is_no_mixture) {
    const auto text = [](int number) {
        const std::string value = std::to_string(number);
        return R"({"all": {"begin": )" + value + R"(, "middle": ")" + std::string(200000, 'x') + R"(", "end": )" +
               value + "}}";
    };
    folder_.write("config.json", text(1));
    other_process writer([&] {
        for (int number = 1;; number = 3 - number) {
            folder_.write("config.json", text(number));
        }
        return 0;
    });
    int whole = 0;
    EXPECT_TRUE(becomes_true([&] {
        if (ask("all") == 0) {
            EXPECT_EQ(answer_["begin"], answer_["end"]);
            ++whole;
        }
        return whole >= 30;
    }));
}

TEST_F(configuration, a_missing_file_is_told_once) {
    EXPECT_NE(ask("a"), 0);
    EXPECT_EQ(complaint_, absent_);
    EXPECT_NE(ask("a"), 0);
    EXPECT_EQ(complaint_, "");
    EXPECT_NE(ask("b"), 0);
    EXPECT_EQ(complaint_, "");
}

TEST_F(configuration, a_reason_is_news_again_after_the_file_worked) {
    EXPECT_NE(ask("a"), 0);
    folder_.write("config.json", R"({"a": 1})");
    EXPECT_EQ(ask("a"), 0);
    ASSERT_EQ(unlink(file_.c_str()), 0);
    EXPECT_NE(ask("a"), 0);
    EXPECT_EQ(complaint_, absent_);
}

TEST_F(configuration, a_broken_file_is_refused_with_its_line) {
    folder_.write("config.json", "{\n \"network\": {},\n \"b\" 2\n}\n");
    EXPECT_NE(ask("network"), 0);
    EXPECT_EQ(complaint_.rfind(waiting_ + "line 3: ", 0), 0U) << complaint_;
}

TEST_F(configuration, only_strict_json_is_accepted) {
    struct row {
        const char *why;
        std::string content;
    };
    const std::vector<row> rows = {
        {"empty file", ""},
        {"white space only", " \n"},
        {"cut in the middle", R"({"network": {"mtu": 14)"},
        {"text after the end", R"({"network": 1} x)"},
        {"two objects", R"({"network": 1}{})"},
        {"comment", "{\"network\": /* x */ 1}"},
        {"comment of a line", "// x\n{\"network\": 1}"},
        {"repeated name", R"({"network": 1, "network": 2})"},
        {"single quotes", "{'network': 1}"},
        {"trailing comma", R"({"network": 1,})"},
        {"no number", R"({"network": NaN})"},
        {"NUL byte", std::string("{\"network\": 1\0}", 15)},
        {"binary", "\x7f\x45LF\x02\x01"},
        {"a list at the top", R"([{"network": 1}])"},
        {"a bare value at the top", "1"},
    };
    for (const row &r : rows) {
        folder_.write("config.json", r.content);
        answer_ = "as it was";
        EXPECT_NE(ask("network"), 0) << r.why;
        EXPECT_EQ(answer_, Json::Value("as it was")) << r.why;
    }
}

TEST_F(configuration, another_type_at_the_top_is_told) {
    expect_refused("[]", "line 1: the whole file must be one object, { ... }", "a list");
}

TEST_F(configuration, deep_nesting_is_refused_without_a_crash) {
    for (const char *open : {"[", "{\"network\":"}) {
        std::string content = R"({"network":)";
        for (int depth = 0; depth < 50000; ++depth) {
            content += open;
        }
        folder_.write("config.json", R"({"network": 1})");
        ASSERT_EQ(ask("network"), 0);
        expect_refused(content, "values are nested too deep", open);
    }
}

TEST_F(configuration, the_size_is_bounded) {
    const std::string object = R"({"network": 1})";
    const std::size_t limit = 1048576;
    folder_.write("config.json", object + std::string(limit - object.size(), ' '));
    EXPECT_EQ(ask("network"), 0);
    expect_refused(object + std::string(limit - object.size() + 1, ' '),
                   "has more than 1 MiB; this is no configuration", "one byte more");
}

TEST_F(configuration, a_fifo_does_not_hang) {
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    EXPECT_NE(ask("network"), 0);
    EXPECT_EQ(complaint_, waiting_ + "is not a regular file\n");
}

TEST_F(configuration, a_folder_is_refused) {
    ASSERT_EQ(mkdir(file_.c_str(), 0700), 0);
    EXPECT_NE(ask("network"), 0);
    EXPECT_EQ(complaint_, waiting_ + "is not a regular file\n");
}

TEST_F(configuration, an_unreadable_file_is_refused) {
    // A link to itself cannot be opened by anybody, root included.
    ASSERT_EQ(symlink(file_.c_str(), file_.c_str()), 0);
    EXPECT_NE(ask("network"), 0);
    EXPECT_EQ(complaint_, waiting_ + "Too many levels of symbolic links\n");
}

// One value of every type below "v.".
Json::Value typed_values() {
    Json::Value v;
    v["text"] = "router";
    v["digits"] = "7";
    v["int"] = -7;
    v["largest"] = Json::Value::Int64{2147483647};
    v["too_large"] = Json::Value::Int64{2147483648};
    v["smallest"] = Json::Value::Int64{-2147483648LL};
    v["too_small"] = Json::Value::Int64{-2147483649LL};
    v["real"] = 1.0;
    v["true"] = true;
    v["false"] = false;
    v["null"] = Json::Value();
    v["list"].append(1);
    v["object"]["x"] = 1;
    Json::Value root;
    root["v"] = v;
    return root;
}

TEST(config_readers, each_reader_takes_its_own_type_only) {
    const Json::Value root = typed_values();
    struct row {
        const char *key;
        bool is_text, is_int, is_bool;
    };
    const row rows[] = {
        {"text", true, false, false},       {"digits", true, false, false},     {"int", false, true, false},
        {"largest", false, true, false},    {"too_large", false, false, false}, {"smallest", false, true, false},
        {"too_small", false, false, false}, {"real", false, false, false},      {"true", false, false, true},
        {"false", false, false, true},      {"null", false, false, false},      {"list", false, false, false},
        {"object", false, false, false},    {"absent", false, false, false},
    };
    for (const row &r : rows) {
        const std::string key = std::string("v.") + r.key;
        std::string text = "odd";
        int number = 4711;
        bool truth = std::string(r.key) != "true";
        const bool truth_before = truth;
        EXPECT_EQ(config_get_string(root, &text, key), r.is_text) << key;
        EXPECT_EQ(text == "odd", !r.is_text) << key;
        EXPECT_EQ(config_get_int(root, &number, key), r.is_int) << key;
        EXPECT_EQ(number == 4711, !r.is_int) << key;
        EXPECT_EQ(config_get_bool(root, &truth, key), r.is_bool) << key;
        EXPECT_EQ(truth == truth_before, !r.is_bool) << key;
    }
}

TEST(config_readers, the_values_are_right) {
    const Json::Value root = typed_values();
    std::string text;
    int number = 0;
    bool truth = true;
    EXPECT_TRUE(config_get_string(root, &text, "v.text"));
    EXPECT_EQ(text, "router");
    EXPECT_TRUE(config_get_int(root, &number, "v.largest"));
    EXPECT_EQ(number, 2147483647);
    EXPECT_TRUE(config_get_int(root, &number, "v.smallest"));
    EXPECT_EQ(number, -2147483647 - 1);
    EXPECT_TRUE(config_get_bool(root, &truth, "v.false"));
    EXPECT_FALSE(truth);
}

TEST(config_readers, a_value_that_is_no_object_has_no_keys) {
    int number = 4711;
    for (const Json::Value &config :
         {Json::Value(), Json::Value(7), Json::Value("text"), Json::Value(Json::arrayValue)}) {
        EXPECT_FALSE(config_get_int(config, &number, "v"));
        EXPECT_FALSE(config_get_int(config, &number, "v.int"));
        EXPECT_FALSE(config_get_int(config, &number, ""));
    }
    EXPECT_EQ(number, 4711);
}

}  // namespace
