// The JSON form against its published schema, by a validator that is not ours.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/view/samples.h"
#include "view/json.h"

namespace {

using namespace view;
using samples::operator+;  // NOLINT(misc-unused-using-decls): for maps, whose own namespace has none

class json_schema : public testing::Test {
protected:
    void add(const std::string &object) {
        command_ += " -i " + folder_.write(std::to_string(instances_++) + ".json", object);
    }
    void add(const picture &known, const reading &database) { add(to_json(known, database)); }

    void clear() { command_.clear(); }

    bool valid() const {
        return std::system(("/usr/bin/jsonschema" + command_ + " " ZELT_TOP_SCHEMA " >&2").c_str()) == 0;
    }

private:
    temporary_folder folder_;
    std::string command_;
    int instances_ = 0;
};

reading timed(const snapshot &cell) {
    reading database = samples::read_from(cell);
    database.taken_at = 1769860800.25;
    return database;
}

TEST_F(json_schema, holds_for_every_technology_and_every_kind_of_missing) {
    const snapshot owned{{"CELL_IMSI", std::string("001010123456789")},
                         {"CELL_MODEL", std::string("EC25")},
                         {"CELL_GATEWAY", std::string("10.64.12.1")},
                         {"CELL_PRIMARY_DNS", std::string("10.64.0.53")}};
    const snapshot odd{{"CELL_RSRP", 0},       {"CELL_SINR", 1.0 / 0.0}, {"CELL_CID", -5},
                       {"CELL_NEW", 1.5},      {"CELL_BAND", -999},      {"CELL_CHAN_BW_DL", std::string("wide")},
                       {"CELL_CONNECTED", 1.0}};
    for (const snapshot &cell :
         {samples::lte(), samples::cat_m(), samples::nsa(), samples::sa(), samples::wcdma(), samples::gsm(),
          samples::crowded(), snapshot{}, samples::lte() + odd, samples::wcdma() + snapshot{{"CELL_SQI", 0}},
          snapshot{{"CELL_NET_TYPE", std::string("6G")}, {"CELL_BAND", 3}}}) {
        const reading database = timed(cell + owned);
        picture known = samples::picture_of(cell + owned);
        add(known, database);
        known.owner = find_subscriber(database);
        add(known, database);
    }
    reading nothing;
    nothing.foreign_keys = {"CELL_ODD"};
    add(build_picture(nothing, {}, {}), nothing);
    EXPECT_TRUE(valid());
}

TEST_F(json_schema, holds_for_the_example_of_its_page) {
    const std::string page = content_of(ZELT_TOP_PAGE);
    const std::string fence = "```json\n";
    const std::size_t begin = page.find(fence) + fence.size();
    const std::string example = page.substr(begin, page.find("```", begin) - begin);
    ASSERT_NE(example.find("\"schema\""), std::string::npos);
    add(example);
    EXPECT_TRUE(valid());
}

TEST_F(json_schema, tells_what_is_no_such_object) {
    const std::string whole = to_json(samples::picture_of(samples::lte()), timed(samples::lte()));
    struct row {
        const char *right;
        const char *wrong;
    };
    for (const row &one : {row{"\"bandwidth_down_mhz\":20", "\"bandwidth_down_mhz\":\"20\""},
                           {"\"schema\":1", "\"schema\":2"},
                           {"\"pci\":123", "\"pcid\":123"},
                           {"\"rating\":\"fair\"", "\"rating\":\"great\""},
                           {"T12:00:00.250Z", " 12:00:00"}}) {
        std::string changed = whole;
        const std::size_t at = changed.find(one.right);
        ASSERT_NE(at, std::string::npos) << one.right << " in " << whole;
        clear();
        add(changed.replace(at, std::string(one.right).size(), one.wrong));
        EXPECT_FALSE(valid()) << one.wrong;
    }
}

}  // namespace
