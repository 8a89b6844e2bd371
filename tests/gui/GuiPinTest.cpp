// GUI pins and the pin owner, white-boxed: what a host image does to each
// kind of pin, what counts as a change, when callbacks run and when a
// module's own assignment reaches the host.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "frame/mp_sdk_gui.h"
#include "tamhost/GuiHost.h"
#include "tamhost/Values.h"

namespace {

using tamhost::RawValue;
using tamhost::Transmission;

class RecordingOwner : public GuiPinOwner {
public:
    int32_t pinTransmit(int pinId, int size, const void* data, int voice) override {
        Transmission t;
        t.pinId = pinId;
        t.voice = voice;
        if (size > 0 && data != nullptr) {
            const auto* bytes = static_cast<const uint8_t*>(data);
            t.data.assign(bytes, bytes + size);
        }
        sent.push_back(t);
        return MP_OK;
    }
    template <class Pin>
    void wire(int id, Pin& pin, IGuiPinCallbackImpl* callback = nullptr) {
        wirePin(id, pin, callback);
    }
    std::vector<Transmission> sent;
};

// Counts its calls and the voices it was given.
class CountingCallback : public IGuiPinCallbackImpl {
public:
    explicit CountingCallback(std::vector<int>& voices) : voices_(voices) {}
    void operator()(int voice) override { voices_.push_back(voice); }

private:
    std::vector<int>& voices_;
};

bool setRaw(MpGuiPinBase& pin, const RawValue& raw, int voice = 0) {
    return pin.set(voice, static_cast<int>(raw.size()), raw.data());
}

TEST(GuiPinSet, FloatAndIntChangeOnlyWhenTheBitsDiffer) {
    MpGuiPin<float> f;
    EXPECT_EQ(f.getDatatype(), 6);
    EXPECT_EQ(f.rawSize(), 4);
    EXPECT_FALSE(setRaw(f, tamhost::rawFloat(0.0f)));
    EXPECT_TRUE(setRaw(f, tamhost::rawFloat(-0.0f)));  // equal as numbers, not as bits
    EXPECT_TRUE(std::signbit(f.value));
    EXPECT_TRUE(setRaw(f, tamhost::rawFloat(2.5f)));
    EXPECT_FALSE(setRaw(f, tamhost::rawFloat(2.5f)));
    EXPECT_FLOAT_EQ(f.value, 2.5f);

    MpGuiPin<int> i;
    EXPECT_EQ(i.getDatatype(), 8);
    EXPECT_TRUE(setRaw(i, tamhost::rawInt(-3)));
    EXPECT_FALSE(setRaw(i, tamhost::rawInt(-3)));
    // Any other size is a change; only its own bytes are written.
    const uint8_t two[2] = {0x01, 0x00};
    EXPECT_TRUE(i.set(0, 2, two));
    EXPECT_EQ(i.value, static_cast<int>(0xFFFF0001u));
    EXPECT_TRUE(i.set(0, 0, two));
    EXPECT_EQ(i.value, static_cast<int>(0xFFFF0001u));
}

TEST(GuiPinSet, BoolWordIsAlwaysNewByteComparesOtherSizesTakeFirstByte) {
    MpGuiPin<bool> b;
    EXPECT_EQ(b.getDatatype(), 4);
    EXPECT_EQ(b.rawSize(), 1);
    EXPECT_TRUE(setRaw(b, tamhost::rawInt(0)));  // 4 bytes: a change even though it stays false
    EXPECT_FALSE(b.value);
    EXPECT_TRUE(setRaw(b, tamhost::rawInt(0x100)));  // any non-zero word
    EXPECT_TRUE(b.value);
    EXPECT_TRUE(setRaw(b, tamhost::rawInt(0x100)));
    EXPECT_FALSE(setRaw(b, tamhost::rawBool(true)));
    EXPECT_TRUE(setRaw(b, tamhost::rawBool(false)));
    EXPECT_FALSE(b.value);
    const uint8_t three[3] = {0x00, 0x01, 0x01};
    EXPECT_TRUE(b.set(0, 3, three));  // first byte only
    EXPECT_FALSE(b.value);
}

TEST(GuiPinSet, StringAndBlobCompareBytes) {
    MpGuiPin<std::wstring> s;
    EXPECT_EQ(s.getDatatype(), 1);
    EXPECT_TRUE(setRaw(s, tamhost::rawString(L"abc")));
    EXPECT_EQ(s.rawSize(), 12);
    EXPECT_FALSE(setRaw(s, tamhost::rawString(L"abc")));
    EXPECT_TRUE(setRaw(s, tamhost::rawString(L"abd")));
    EXPECT_EQ(s.value, L"abd");
    // A ragged size keeps the whole characters only.
    RawValue ragged = tamhost::rawString(L"xy");
    ragged.pop_back();
    EXPECT_TRUE(setRaw(s, ragged));
    EXPECT_EQ(s.value, L"x");
    EXPECT_TRUE(setRaw(s, {}));
    EXPECT_EQ(s.value, L"");

    MpGuiPin<MpBlob> blob;
    EXPECT_EQ(blob.getDatatype(), 10);
    EXPECT_FALSE(setRaw(blob, {}));  // empty equals empty
    EXPECT_TRUE(setRaw(blob, {1, 2, 3}));
    EXPECT_EQ(blob.rawSize(), 3);
    EXPECT_FALSE(setRaw(blob, {1, 2, 3}));
    EXPECT_TRUE(setRaw(blob, {1, 2, 4}));
    EXPECT_TRUE(setRaw(blob, {1, 2}));
    EXPECT_EQ(blob.value.getSize(), 2);
    EXPECT_EQ(std::memcmp(blob.rawData(), "\x01\x02", 2), 0);
}

TEST(GuiPinSet, HostileImagesNeitherCrashNorReadPastTheirSize) {
    MpGuiPin<float> f;
    MpGuiPin<bool> b;
    MpGuiPin<std::wstring> s;
    MpGuiPin<MpBlob> blob;
    MpGuiArrayPin<float, 128> poly;
    for (int size : {-5, 0, 1, 3, 4, 9}) {
        f.set(0, size, nullptr);
        b.set(0, size, nullptr);
        s.set(0, size, nullptr);
        blob.set(0, size, nullptr);
        poly.set(0, size, nullptr);
    }
    EXPECT_EQ(f.value, 0.0f);
    EXPECT_FALSE(b.value);
    EXPECT_TRUE(s.value.empty());
    EXPECT_EQ(blob.value.getSize(), 0);
    // A longer image than the value writes the value's bytes only.
    const RawValue big(64, 0x41);
    EXPECT_TRUE(setRaw(f, big));
    EXPECT_TRUE(setRaw(poly, big, 127));
    float expected;
    std::memset(&expected, 0x41, 4);
    EXPECT_EQ(poly[127], expected);
}

TEST(GuiArrayPin, EachVoiceIsItsOwnCellAndVoicesOutsideAreIgnored) {
    MpGuiArrayPin<float, 128> poly;
    EXPECT_EQ(poly.getDatatype(), 6);
    EXPECT_TRUE(setRaw(poly, tamhost::rawFloat(1.0f), 5));
    EXPECT_FALSE(setRaw(poly, tamhost::rawFloat(1.0f), 5));
    EXPECT_TRUE(setRaw(poly, tamhost::rawFloat(1.0f), 6));
    EXPECT_EQ(poly[5], 1.0f);
    EXPECT_EQ(poly[4], 0.0f);
    EXPECT_EQ(poly.rawSize(127), 4);
    for (int voice : {-1, 128, 100000}) {
        EXPECT_FALSE(setRaw(poly, tamhost::rawFloat(9.0f), voice));
        EXPECT_EQ(poly.rawSize(voice), 0);
        EXPECT_EQ(poly.rawData(voice), nullptr);
    }

    MpGuiArrayPin<MpBlob, 128> blobs;
    EXPECT_EQ(blobs.getDatatype(), 10);
    EXPECT_TRUE(setRaw(blobs, {7, 7}, 3));
    EXPECT_FALSE(setRaw(blobs, {7, 7}, 3));
    EXPECT_EQ(blobs.rawSize(3), 2);
    EXPECT_EQ(blobs.rawSize(2), 0);

    RecordingOwner owner;
    owner.wire(4, poly);
    poly.setValue(9, 3.0f);
    poly.setValue(9, 3.0f);
    poly.setValue(200, 3.0f);
    ASSERT_EQ(owner.sent.size(), 1u);
    EXPECT_EQ(owner.sent[0].pinId, 4);
    EXPECT_EQ(owner.sent[0].voice, 9);
    EXPECT_EQ(owner.sent[0].asFloat(), 3.0f);
}

TEST(GuiPinAssign, TransmitsOnChangeOnlyAlwaysOnVoiceZero) {
    RecordingOwner owner;
    MpGuiPin<float> f;
    MpGuiPin<bool> b;
    StringGuiPin s;
    MpGuiPin<MpBlob> blob;
    owner.wire(1, f);
    owner.wire(2, b);
    owner.wire(3, s);
    owner.wire(4, blob);

    f = 0.0f;  // equal to the start value
    f = 1.0f;
    f = 1.0f;
    b = true;
    b = true;
    s = std::wstring(L"same");
    s = std::wstring(L"same");
    s = std::string("same");  // equal after conversion
    blob = MpBlob(2, "ab");
    blob = MpBlob(2, "ab");
    MpGuiPin<float> other;
    other.value = 1.0f;
    f = other;  // equal value from another pin

    ASSERT_EQ(owner.sent.size(), 4u);
    EXPECT_EQ(owner.sent[0].pinId, 1);
    EXPECT_EQ(owner.sent[0].asFloat(), 1.0f);
    EXPECT_EQ(owner.sent[1].pinId, 2);
    EXPECT_EQ(owner.sent[1].data, RawValue{1});
    EXPECT_EQ(owner.sent[2].asString(), L"same");
    EXPECT_EQ(owner.sent[3].data, (RawValue{'a', 'b'}));
    for (const Transmission& t : owner.sent) EXPECT_EQ(t.voice, 0);

    // A pin never wired has no owner: assignment stores and sends nothing.
    MpGuiPin<int> loose;
    loose = 5;
    EXPECT_EQ(loose.value, 5);
}

TEST(GuiPinAssign, StringPinConvertsUtf8BothWays) {
    RecordingOwner owner;
    StringGuiPin s;
    owner.wire(0, s);
    s = std::string("gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5");  // "grüß" and a note, U+1F3B5
    EXPECT_EQ(s.value, std::wstring(L"gr\u00FC\u00DF \U0001F3B5"));
    EXPECT_EQ(static_cast<std::string>(s), "gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5");
    // Malformed input: a stray continuation, a cut sequence, an overlong
    // form and an encoded surrogate each become U+FFFD.
    s = std::string("a\x80z\xE2\x82");
    EXPECT_EQ(s.value, L"a\uFFFDz\uFFFD");
    s = std::string("\xC0\xAF|\xED\xA0\x80");
    EXPECT_EQ(s.value, L"\uFFFD\uFFFD|\uFFFD");
    EXPECT_EQ(owner.sent.size(), 3u);
}

TEST(GuiPinOwnerCalls, SetNotifyAndSetPin2) {
    RecordingOwner owner;
    MpGuiPin<float> a;
    MpGuiPin<float> b;
    MpGuiPin<float> c;
    std::vector<int> calls;
    const RawValue one = tamhost::rawFloat(1.0f);

    EXPECT_EQ(owner.setPin(0, 0, 4, one.data()), MP_FAIL);  // empty map
    EXPECT_EQ(owner.notifyPin(0, 0), MP_FAIL);
    owner.wire(0, a, new CountingCallback(calls));
    owner.wire(1, b);
    owner.wire(0, c, new CountingCallback(calls));  // the id keeps its first pin
    EXPECT_EQ(owner.getPin(0), &a);
    EXPECT_EQ(owner.getPin(2), nullptr);
    EXPECT_EQ(c.id, 0);  // the second pin is still wired, just not in the map

    EXPECT_EQ(owner.setPin(2, 0, 4, one.data()), MP_FAIL);
    EXPECT_EQ(owner.notifyPin(2, 0), MP_FAIL);
    EXPECT_EQ(owner.setPin(0, 3, 4, one.data()), MP_OK);
    EXPECT_EQ(owner.setPin(0, 3, 4, one.data()), MP_OK);  // unchanged, still OK
    EXPECT_EQ(a.value, 1.0f);
    EXPECT_TRUE(calls.empty());  // setPin alone runs no callback
    EXPECT_EQ(owner.notifyPin(0, 7), MP_OK);
    EXPECT_EQ(calls, std::vector<int>{7});
    EXPECT_EQ(owner.notifyPin(1, 0), MP_OK);  // no callback: nothing happens

    calls.clear();
    EXPECT_EQ(owner.setPin2(0, 4, 4, one.data()), MP_OK);  // unchanged: no callback
    const RawValue two = tamhost::rawFloat(2.0f);
    EXPECT_EQ(owner.setPin2(0, 5, 4, two.data()), MP_OK);
    EXPECT_EQ(owner.setPin2(1, 5, 4, two.data()), MP_OK);
    EXPECT_EQ(owner.setPin2(9, 5, 4, two.data()), MP_FAIL);
    EXPECT_EQ(calls, std::vector<int>{5});
    EXPECT_TRUE(owner.sent.empty());  // values from the host are never echoed
}

}  // namespace
