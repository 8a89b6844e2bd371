// The colour pin: every text form it reads, with clamping, missing
// separators and empty text, and the text it writes back in each format.
// Expected values come from tests/data/gui/make_colour_cases.py.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "frame/mp_sdk_gui.h"
#include "tamhost/GuiHost.h"
#include "tamhost/Pack.h"
#include "tamhost/Values.h"

namespace {

using tamhost::RawValue;

std::vector<std::vector<std::string>> readTable(const std::string& name) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/gui/" + name);
    EXPECT_TRUE(in.good()) << name;
    std::vector<std::vector<std::string>> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        std::vector<std::string> fields;
        std::stringstream ss(line);
        std::string field;
        while (std::getline(ss, field, '\t')) fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

std::wstring jsonText(const std::string& field) {
    return tamhost::widen(nlohmann::json::parse(field).get<std::string>());
}

// Counts transmissions; a colour pin needs an owner to send.
class Owner : public GuiPinOwner {
public:
    int32_t pinTransmit(int pinId, int size, const void* data, int voice) override {
        tamhost::Transmission t;
        t.pinId = pinId;
        t.voice = voice;
        const auto* bytes = static_cast<const uint8_t*>(data);
        if (size > 0 && bytes != nullptr) t.data.assign(bytes, bytes + size);
        sent.push_back(t);
        return MP_OK;
    }
    void wire(int id, MpGuiPinBase& pin) { wirePin(id, pin, nullptr); }
    std::vector<tamhost::Transmission> sent;
};

bool setText(ColorGuiPin& pin, const std::wstring& text) {
    const RawValue raw = tamhost::rawString(text);
    return pin.set(0, static_cast<int>(raw.size()), raw.data());
}

TEST(ColourPinDecode, EveryFormFromTheReferenceTable) {
    const auto rows = readTable("colour_decode.tsv");
    ASSERT_GE(rows.size(), 30u);
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 3u);
        const std::wstring text = jsonText(row[0]);
        const bool invalid = row[1] == "1";
        const uint32_t word = static_cast<uint32_t>(std::stoul(row[2], nullptr, 16));
        ColorGuiPin pin;
        ASSERT_TRUE(setText(pin, L"0x11223344"));
        ASSERT_FALSE(pin.invalid);
        EXPECT_TRUE(setText(pin, text)) << row[0];
        EXPECT_EQ(pin.invalid, invalid) << row[0];
        EXPECT_EQ(pin.color, word) << row[0] << " gave " << std::hex << pin.color;
    }
}

TEST(ColourPinDecode, UnchangedTextIsNoChangeAndStartsInvalid) {
    ColorGuiPin pin;
    EXPECT_TRUE(pin.invalid);         // no colour before any text
    EXPECT_FALSE(setText(pin, L""));  // the start text is empty already
    EXPECT_TRUE(setText(pin, L"RGB(300,-5,7)"));
    EXPECT_EQ(pin.color, 0xFFFF0007u);
    pin.color = 1;  // a repeated text is no change, so nothing is decoded
    EXPECT_FALSE(setText(pin, L"RGB(300,-5,7)"));
    EXPECT_EQ(pin.color, 1u);
    // Hostile images: odd sizes and no data.
    EXPECT_TRUE(pin.set(0, 3, "abc"));
    EXPECT_TRUE(pin.invalid);
    pin.set(0, 64, nullptr);
    pin.set(0, -4, nullptr);
    EXPECT_TRUE(pin.value.empty());
}

TEST(ColourPinFormat, TextByFormatFromTheReferenceTable) {
    const auto rows = readTable("colour_format.tsv");
    ASSERT_GE(rows.size(), 30u);
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 3u);
        Owner owner;
        ColorGuiPin pin;
        owner.wire(5, pin);
        pin.color = static_cast<uint32_t>(std::stoul(row[0], nullptr, 16));
        pin.format = std::stoi(row[1]);
        const std::wstring expected = jsonText(row[2]);
        pin.sendColorPinUpdate();
        EXPECT_EQ(pin.value, expected) << row[0] << " format " << row[1];
        ASSERT_EQ(owner.sent.size(), 1u);
        EXPECT_EQ(owner.sent[0].pinId, 5);
        EXPECT_EQ(owner.sent[0].asString(), expected);
        pin.sendColorPinUpdate();  // sent again although nothing changed
        EXPECT_EQ(owner.sent.size(), 2u);
    }
}

TEST(ColourPinFormat, ModuleTextIsDecodedAndRoundTripsKeepTheColour) {
    Owner owner;
    ColorGuiPin pin;
    owner.wire(0, pin);
    pin = std::wstring(L"ARGB(128,1,2,3)");
    EXPECT_EQ(pin.color, 0x80010203u);
    EXPECT_FALSE(pin.invalid);
    pin = std::string("0x0a0b0c0d");
    EXPECT_EQ(pin.color, 0x0A0B0C0Du);
    pin = std::wstring(L"0x0a0b0c0d");  // equal: not sent again
    EXPECT_EQ(owner.sent.size(), 2u);

    // Forms that keep alpha give the same word back when read again.
    for (int format : {0, 1, 3}) {
        pin.color = 0x80FF7F01;
        pin.format = format;
        pin.sendColorPinUpdate();
        ColorGuiPin reader;
        ASSERT_TRUE(setText(reader, pin.value));
        EXPECT_EQ(reader.color, 0x80FF7F01u) << "format " << format;
    }
    // RGB drops alpha, which comes back opaque.
    pin.format = 2;
    pin.sendColorPinUpdate();
    ColorGuiPin reader;
    setText(reader, pin.value);
    EXPECT_EQ(reader.color, 0xFFFF7F01u);
}

}  // namespace
