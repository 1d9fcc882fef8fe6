// sysdb watch: each change once, from databases that come and go, and every way in which it ends.
#include <string>

#include <gmock/gmock.h>

#include "tests/tools/sysdb/tool_fixture.h"

namespace {

class sysdb_watch : public tool_test {
protected:
    // A key of the test's own in the watched database, changed until the watcher shows it: from then on it has looked.
    // The prints of the changes are taken away.
    static void await_first_look(running_tool &watcher) {
        for (int n = 0; n < 40; ++n) {
            ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "READY", n, 0), 0);
            if (!watcher.is_silent()) {
                watcher.read_until("\n");
                return;
            }
        }
        FAIL() << "the watcher shows nothing";
    }
};

TEST_F(sysdb_watch, prints_each_change_and_not_what_was_there) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "OLD", 1, 0), 0);
    running_tool watcher({"watch", "CELL"});
    await_first_look(watcher);
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_int(handle, "NEW", -95, 0) + sysdb_write_dbl(handle, "SINR", 12.0, 0) +
                         sysdb_write_str(handle, "NAME", "a\tb", 0) + sysdb_del(handle, "OLD");
              }),
              0);
    EXPECT_EQ(watcher.read_until("SINR\treal\t12.0\n"), "NAME\tstring\ta\\tb\n"
                                                        "NEW\tint\t-95\n"
                                                        "OLD\tdeleted\t\n"
                                                        "SINR\treal\t12.0\n");
    ASSERT_EQ(sysdb_namedb_write_str(nullptr, "CELL", "NEW", "-95", 0), 0);
    EXPECT_EQ(watcher.read_until("\n"), "NEW\tstring\t-95\n") << "another type is a change too";
}

TEST_F(sysdb_watch, is_silent_about_values_written_again_and_other_databases) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    ASSERT_EQ(write([](sysdb_handle *handle) { return sysdb_write_dbl(handle, "NAN", __builtin_nan(""), 0); }), 0);
    running_tool watcher({"watch", "CELL"});
    await_first_look(watcher);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "K", 2, 0), 0);
    EXPECT_TRUE(watcher.is_silent());
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0), 0);
    EXPECT_EQ(watcher.read_until("\n"), "K\tint\t2\n");
}

TEST_F(sysdb_watch, prints_one_json_object_for_each_change) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    running_tool watcher({"watch", "CELL", "--json"});
    await_first_look(watcher);
    ASSERT_EQ(write([](sysdb_handle *handle) {
                  return sysdb_write_dbl(handle, "SINR", -999, 0) + sysdb_write_str(handle, "\"", "\n", 0) +
                         sysdb_del(handle, "K");
              }),
              0);
    EXPECT_EQ(watcher.read_until("-999.0}\n"), R"({"key": "\"", "type": "string", "value": "\u000a"})"
                                               "\n"
                                               R"({"key": "K", "type": "deleted", "value": null})"
                                               "\n"
                                               R"({"key": "SINR", "type": "real", "value": -999.0})"
                                               "\n");
}

TEST_F(sysdb_watch, with_time_begins_each_change_with_it) {
    using testing::MatchesRegex;
    running_tool lines({"watch", "--time", "CELL"});
    await_first_look(lines);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    EXPECT_THAT(lines.read_until("\n"), MatchesRegex("20..-..-..T..:..:..\\....Z\tK\tint\t1\n"));
    running_tool objects({"watch", "CELL", "--time", "--json"});
    await_first_look(objects);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0), 0);
    EXPECT_THAT(objects.read_until("\n"),
                MatchesRegex("\\{\"time\": \"20..-..-..T..:..:..\\....Z\", \"key\": \"K\", \"type\": \"int\", "
                             "\"value\": 2\\}\n"));
}

TEST_F(sysdb_watch, sleeps_while_nothing_changes) {
    running_tool watcher({"watch", "CELL"});
    await_first_look(watcher);
    ASSERT_TRUE(watcher.is_silent()) << "time for what the first look has left";
    const std::string before = watcher.sleeps();
    ASSERT_TRUE(before.starts_with("voluntary_ctxt_switches:")) << before;
    ASSERT_TRUE(watcher.is_silent());
    EXPECT_EQ(watcher.sleeps(), before);
}

TEST_F(sysdb_watch, waits_for_the_folder_and_for_the_named_database_and_makes_neither) {
    running_tool watcher({"watch", "CELL"});
    EXPECT_TRUE(watcher.is_silent());
    EXPECT_FALSE(std::filesystem::exists(directory_));
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "GPIO", "K", 1, 0), 0);
    EXPECT_TRUE(watcher.is_silent());
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0), 0);
    EXPECT_EQ(watcher.read_until("\n"), "K\tint\t2\n");
}

TEST_F(sysdb_watch, follows_a_folder_that_is_removed_and_made_anew) {
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    running_tool watcher({"watch", "CELL"});
    await_first_look(watcher);
    std::filesystem::remove_all(directory_);
    EXPECT_EQ(watcher.read_until("READY\tdeleted\t\n"), "K\tdeleted\t\nREADY\tdeleted\t\n");
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 2, 0), 0);
    EXPECT_EQ(watcher.read_until("\n"), "K\tint\t2\n");
}

TEST_F(sysdb_watch, ends_with_0_on_sigint_and_sigterm) {
    for (const int number : {SIGINT, SIGTERM}) {
        running_tool watcher({"watch", "CELL"}, folder_.path("stderr"));
        await_first_look(watcher);
        watcher.signal(number);
        EXPECT_EQ(watcher.wait(), 0);
        EXPECT_EQ(content_of(folder_.path("stderr")), "");
        std::filesystem::remove_all(directory_);
    }
}

TEST_F(sysdb_watch, ends_with_0_when_nobody_reads_any_more) {
    running_tool watcher({"watch", "CELL"}, folder_.path("stderr"));
    watcher.close_output();
    EXPECT_EQ(watcher.wait(), 0) << "without any change to print";
    EXPECT_EQ(content_of(folder_.path("stderr")), "");
}

TEST_F(sysdb_watch, ends_with_3_and_a_sentence_when_the_database_is_written_over) {
    running_tool watcher({"watch", "CELL"}, folder_.path("stderr"));
    await_first_look(watcher);
    const std::string zeros(8192, '\0');
    const descriptor fd(open(file("data.mdb").c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(pwrite(fd.get(), zeros.data(), zeros.size(), 0), static_cast<ssize_t>(zeros.size()));
    EXPECT_EQ(watcher.wait(), 3);
    EXPECT_NE(content_of(folder_.path("stderr")).find("the database is damaged"), std::string::npos);
}

TEST_F(sysdb_watch, ends_with_3_when_its_output_cannot_be_written) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    running_tool watcher({"watch", "CELL"}, folder_.path("stderr"), full);
    ASSERT_EQ(sysdb_namedb_write_int(nullptr, "CELL", "K", 1, 0), 0);
    other_process toggler([] {
        for (int n = 0;; ++n) {
            sysdb_namedb_write_int(nullptr, "CELL", "K", n, 0);
            usleep(20000);
        }
        return 0;
    });
    EXPECT_EQ(watcher.wait(), 3);
    EXPECT_EQ(content_of(folder_.path("stderr")), "sysdb: cannot write the output: No space left on device\n");
    close(full);
}

}  // namespace
