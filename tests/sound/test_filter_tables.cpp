// The per-sample-rate tables of the one-pole and state-variable filters,
// white-boxed: their entries against make_tables.py, and their sharing - one
// table per rate, kept while an instance uses it, gone with the last one.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "sound/SemFilter1Pole.h"
#include "sound/SemFilter2Pole.h"
#include "tamhost/Catalogue.h"
#include "tamhost/DspHost.h"
#include "tests/sound/test_filter_support.h"

namespace {

struct TableRow {
    float rate;
    int index;
    float onePole, frequency, limit;
};

std::vector<TableRow> loadTables() {
    std::ifstream in(filtertest::dataPath("tables.txt"));
    std::vector<TableRow> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        TableRow r;
        words >> r.rate >> r.index >> r.onePole >> r.frequency >> r.limit;
        rows.push_back(r);
    }
    return rows;
}

TEST(FilterTables, EntriesMatchReference) {
    const auto rows = loadTables();
    ASSERT_EQ(rows.size(), 36u);
    for (const auto& r : rows) {
        SemFilter1Pole::SharedTable onePole;
        onePole.fill(r.rate);
        SemFilter2Pole::SharedTable svf;
        svf.fill(r.rate);
        const std::string where = std::to_string(r.rate) + " entry " + std::to_string(r.index);
        EXPECT_FLOAT_EQ(onePole.values[r.index], r.onePole) << where;
        EXPECT_FLOAT_EQ(svf.frequency[r.index], r.frequency) << where;
        EXPECT_FLOAT_EQ(svf.limit[r.index], r.limit) << where;
    }
}

// Instances built into the test (not the pack), so the test sees their list.
template <typename Module>
std::unique_ptr<tamhost::DspModule> makeInstance(const char* id, float rate) {
    const tamhost::DspOptions options{.sampleRate = rate};
    auto m = std::make_unique<tamhost::DspModule>(static_cast<gmpi::IMpPlugin*>(new Module()),
                                                  tamhost::Catalogue::shared().get(id, 0), options);
    m->open();
    return m;
}

template <typename Module>
void expectSharing(const char* id) {
    auto& list = Module::sharedTables();
    ASSERT_EQ(list.GetCount(), 0);
    auto a = makeInstance<Module>(id, 48000.0f);
    auto b = makeInstance<Module>(id, 48000.0f);
    EXPECT_EQ(list.GetCount(), 1) << id << ": one table per rate";
    auto c = makeInstance<Module>(id, 96000.0f);
    EXPECT_EQ(list.GetCount(), 2) << id;
    ASSERT_EQ(list[0]->sampleRate, 48000.0f);
    // The list and two instances hold the 48 kHz table.
    EXPECT_EQ(list[0]->GetReferenceCount(), 3) << id;

    a.reset();
    EXPECT_EQ(list.GetCount(), 2) << id << ": still used by another instance";
    b.reset();
    ASSERT_EQ(list.GetCount(), 1) << id << ": the last user takes it off the list";
    EXPECT_EQ(list[0]->sampleRate, 96000.0f);
    // A new instance at the first rate builds the table again and works.
    auto d = makeInstance<Module>(id, 48000.0f);
    EXPECT_EQ(list.GetCount(), 2) << id;
    c.reset();
    d.reset();
    EXPECT_EQ(list.GetCount(), 0) << id;
}

TEST(FilterTables, OneTablePerRateSharedAndReleased) {
    expectSharing<SemFilter1Pole>("TamFilter1Pole");
    expectSharing<SemFilter2Pole>("TamFilter2Pole");
}

// An instance that is never opened holds no table and releases nothing.
TEST(FilterTables, UnopenedInstanceHoldsNoTable) {
    auto* module = new SemFilter1Pole();
    EXPECT_EQ(SemFilter1Pole::sharedTables().GetCount(), 0);
    module->release();
    EXPECT_EQ(SemFilter1Pole::sharedTables().GetCount(), 0);
}

}  // namespace
