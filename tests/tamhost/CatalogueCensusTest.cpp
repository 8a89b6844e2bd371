// The host catalogue and the list of built registrations agree: every module
// the pack builds can be described to a user, and nothing else is.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "tamhost/Catalogue.h"

using namespace tamhost;

TEST(CatalogueCensusTest, CatalogueAndBuiltRegistrationsAgree) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/frame/built.txt");
    ASSERT_TRUE(in) << "tests/data/frame/built.txt";
    std::set<std::pair<std::string, int>> built;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        int kind = -1;
        std::string id;
        fields >> kind >> id;
        ASSERT_FALSE(id.empty()) << "bad line: " << line;
        EXPECT_TRUE(built.emplace(id, kind).second) << "listed twice: " << line;
    }
    std::set<std::pair<std::string, int>> described;
    for (const auto* m : Catalogue::shared().modules()) described.emplace(m->id, m->kind);
    for (const auto& [id, kind] : built)
        EXPECT_TRUE(described.count({id, kind})) << "built but not in host/catalogue: " << kind << " " << id;
    for (const auto& [id, kind] : described)
        EXPECT_TRUE(built.count({id, kind})) << "in host/catalogue but not built: " << kind << " " << id;
}

TEST(CatalogueCensusTest, EveryEntryHasNamedPinsInIndexOrder) {
    for (const auto* m : Catalogue::shared().modules()) {
        std::set<std::string> names;
        for (size_t i = 0; i < m->pins.size(); ++i) {
            EXPECT_EQ(m->pins[i].index, static_cast<int>(i)) << m->id;
            EXPECT_FALSE(m->pins[i].name.empty()) << m->id << " pin " << i;
            // Patches address pins by name: a repeated name would be ambiguous.
            EXPECT_TRUE(names.insert(m->pins[i].name).second) << m->id << " repeats '" << m->pins[i].name << "'";
        }
    }
}
