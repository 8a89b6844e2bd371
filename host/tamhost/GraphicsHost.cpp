// Graphic modules driven by the reference host.
#include "tamhost/GraphicsHost.h"

#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tamhost/Pack.h"
#include "tamhost/Render.h"

namespace tamhost {

// ---- text edit and menu --------------------------------------------------------

int32_t TextEditStub::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == TAM_IID_PLATFORM_TEXT) {
        *object = static_cast<gmpi_gui::IMpPlatformText*>(this);
        addRef();
        return MP_OK;
    }
    return MP_NOSUPPORT;
}

int32_t TextEditStub::release() {
    if (--refCount_ == 0) {
        if (pending_ != nullptr) pending_->release();
        delete this;
        return 0;
    }
    return refCount_;
}

int32_t TextEditStub::SetText(const char* utf8) {
    text = utf8 != nullptr ? utf8 : "";
    return MP_OK;
}

int32_t TextEditStub::GetText(gmpi::IString* returnText) {
    if (returnText == nullptr) return MP_FAIL;
    return returnText->setData(text.data(), static_cast<int32_t>(text.size()));
}

int32_t TextEditStub::SetAlignment(int32_t value) {
    alignment = value;
    return MP_OK;
}

int32_t TextEditStub::SetTextSize(float height) {
    textSize = height;
    return MP_OK;
}

int32_t TextEditStub::ShowAsync(gmpi_gui::ICompletionCallback* callback) {
    if (callback != nullptr) callback->addRef();
    if (pending_ != nullptr) pending_->release();
    pending_ = callback;
    shown = true;
    return MP_OK;
}

bool TextEditStub::complete(const std::string& utf8, int32_t result) {
    if (pending_ == nullptr) return false;
    text = utf8;
    gmpi_gui::ICompletionCallback* callback = pending_;
    pending_ = nullptr;
    shown = false;
    callback->OnComplete(result);
    callback->release();
    return true;
}

int32_t ContextMenuSink::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_CONTEXT_ITEMS_SINK) {
        *object = static_cast<gmpi::IMpContextItemSink*>(this);
        return MP_OK;
    }
    return MP_NOSUPPORT;
}

int32_t ContextMenuSink::AddItem(const char* text, int32_t id, int32_t flags) {
    items.push_back(MenuItem{text != nullptr ? text : "", id, flags});
    return MP_OK;
}

// ---- host object ---------------------------------------------------------------

int GraphicsHostObject::resourceReads = 0;

GraphicsHostObject::GraphicsHostObject() : factory_(sharedCairoFactory()) { factoryInterface(factory_)->addRef(); }

GraphicsHostObject::~GraphicsHostObject() {
    for (TextEditStub* edit : textEdits) edit->release();
    factoryInterface(factory_)->release();
}

int32_t GraphicsHostObject::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_UI_HOST || iid == MP_IID_UI_HOST2) {
        *object = static_cast<gmpi::IMpUserInterfaceHost2*>(this);
    } else if (iid == SE_IID_GRAPHICS_HOST) {
        *object = static_cast<gmpi_gui::IMpGraphicsHost*>(this);
    } else if (iid == TAM_IID_RESOURCE_HOST) {
        *object = static_cast<gmpi::IMpResourceHost*>(this);
    } else if (iid == TAM_IID_PLATFORM_TEXT_HOST) {
        *object = static_cast<gmpi_gui::IMpPlatformTextHost*>(this);
    } else {
        return MP_NOSUPPORT;
    }
    addRef();
    return MP_OK;
}

int32_t GraphicsHostObject::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

void GraphicsHostObject::GetDrawingFactory(GmpiDrawing_API::IMpFactory** returnFactory) {
    if (returnFactory == nullptr) return;
    GmpiDrawing_API::IMpFactory* factory = factoryInterface(factory_);
    factory->addRef();
    *returnFactory = factory;
}

void GraphicsHostObject::invalidateRect(const GmpiDrawing_API::MP1_RECT*) { ++invalidateRectCalls; }
void GraphicsHostObject::invalidateMeasure(const GmpiDrawing_API::MP1_SIZE*) { ++invalidateMeasureCalls; }

int32_t GraphicsHostObject::setCapture() {
    ++setCaptureCalls;
    captured = true;
    return MP_OK;
}

int32_t GraphicsHostObject::getCapture(int32_t& returnValue) {
    returnValue = captured ? 1 : 0;
    return MP_OK;
}

int32_t GraphicsHostObject::releaseCapture() {
    ++releaseCaptureCalls;
    captured = false;
    return MP_OK;
}

int32_t GraphicsHostObject::FindResourceU(const char* name, const char* resourceClass,
                                          gmpi::IString* returnFullPath) {
    if (name == nullptr || returnFullPath == nullptr) return MP_FAIL;
    const std::string className = resourceClass != nullptr ? resourceClass : "";
    lookups.emplace_back(className, name);
    auto found = resources.find({className, name});
    if (found == resources.end()) found = resources.find({"", name});
    std::string path;
    if (found != resources.end()) {
        path = found->second;
    } else if (name[0] == '/' || baseFolder.empty()) {
        path = name;
    } else {
        path = baseFolder + (baseFolder.back() == '/' ? "" : "/") + name;
    }
    return returnFullPath->setData(path.data(), static_cast<int32_t>(path.size()));
}

int32_t GraphicsHostObject::ReadResourceU(const char* fullPath, gmpi::IString* returnContents) {
    if (fullPath == nullptr || returnContents == nullptr) return MP_FAIL;
    ++resourceReads;
    auto memory = files.find(fullPath);
    if (memory != files.end()) {
        return returnContents->setData(memory->second.data(), static_cast<int32_t>(memory->second.size()));
    }
    std::ifstream file(fullPath, std::ios::binary);
    if (!file) return MP_FAIL;
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return returnContents->setData(bytes.data(), static_cast<int32_t>(bytes.size()));
}

int32_t GraphicsHostObject::createPlatformTextEdit(const GmpiDrawing_API::MP1_RECT* rect,
                                                   gmpi::IMpUnknown** returnTextEdit) {
    if (returnTextEdit == nullptr) return MP_FAIL;
    auto* edit = new TextEditStub();
    if (rect != nullptr) edit->rect = *rect;
    edit->addRef();  // one for the host's list, one for the caller
    textEdits.push_back(edit);
    *returnTextEdit = edit;
    return MP_OK;
}

// ---- pointer script ------------------------------------------------------------

std::vector<PointerEvent> parsePointerScript(const std::string& text) {
    std::vector<PointerEvent> events;
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        const size_t hash = line.find('#');
        if (hash != std::string::npos) line.resize(hash);
        std::istringstream words(line);
        std::string kind;
        if (!(words >> kind)) continue;
        PointerEvent event;
        if (kind == "down") {
            event.kind = PointerEvent::Down;
        } else if (kind == "move") {
            event.kind = PointerEvent::Move;
        } else if (kind == "up") {
            event.kind = PointerEvent::Up;
        } else {
            throw std::invalid_argument("pointer script line " + std::to_string(number) + ": unknown event '" + kind +
                                        "'");
        }
        if (!(words >> event.x >> event.y) || !std::isfinite(event.x) || !std::isfinite(event.y)) {
            throw std::invalid_argument("pointer script line " + std::to_string(number) + ": expected x and y");
        }
        int32_t button = gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON;
        std::string key;
        while (words >> key) {
            if (key == "shift") {
                event.flags |= gmpi_gui_api::GG_POINTER_KEY_SHIFT;
            } else if (key == "ctrl") {
                event.flags |= gmpi_gui_api::GG_POINTER_KEY_CONTROL;
            } else if (key == "alt") {
                event.flags |= gmpi_gui_api::GG_POINTER_KEY_ALT;
            } else if (key == "right") {
                button = gmpi_gui_api::GG_POINTER_FLAG_SECONDBUTTON;
            } else {
                throw std::invalid_argument("pointer script line " + std::to_string(number) + ": unknown key '" +
                                            key + "'");
            }
        }
        event.flags |= button | gmpi_gui_api::GG_POINTER_FLAG_INCONTACT;
        if (event.kind == PointerEvent::Down) event.flags |= gmpi_gui_api::GG_POINTER_FLAG_NEW;
        events.push_back(event);
    }
    return events;
}

// ---- module --------------------------------------------------------------------

GraphicModule::GraphicModule(const std::string& id, GraphicOptions options)
    : info_(Catalogue::shared().get(id, 2)) {
    create(Pack::shared().factory(), options);
}

GraphicModule::GraphicModule(gmpi::IMpFactory2* factory, ModuleInfo info, GraphicOptions options)
    : info_(std::move(info)) {
    create(factory, options);
}

void GraphicModule::create(gmpi::IMpFactory2* factory, const GraphicOptions& options) {
    draw_ = options.draw;
    host_ = new GraphicsHostObject();
    host_->baseFolder = options.baseFolder;
    host_->pinCount = options.pinCount.value_or(static_cast<int>(info_.pins.size()));
    if (factory == nullptr) throw std::runtime_error("no factory for " + info_.id);
    void* object = nullptr;
    const std::wstring wideId = widen(info_.id);
    if (factory->createInstance2(wideId.c_str(), info_.kind, &object) != MP_OK || object == nullptr) {
        host_->release();
        host_ = nullptr;
        throw std::runtime_error("the pack cannot create " + info_.id + " kind " + std::to_string(info_.kind));
    }
    auto* unknown = static_cast<gmpi::IMpUnknown*>(object);
    void* face = nullptr;
    if (unknown->queryInterface(MP_IID_GUI_PLUGIN2B, &face) == MP_OK && face != nullptr) {
        ui_ = static_cast<gmpi::IMpUserInterface2B*>(face);
    }
    face = nullptr;
    if (unknown->queryInterface(SE_IID_GRAPHICS_MPGUI2, &face) == MP_OK && face != nullptr) {
        graphics_ = static_cast<gmpi_gui_api::IMpGraphics2*>(face);
    }
    unknown->release();
    if (ui_ == nullptr || graphics_ == nullptr) {
        if (ui_ != nullptr) ui_->release();
        if (graphics_ != nullptr) graphics_->release();
        host_->release();
        throw std::runtime_error(info_.id + " is not a graphic module");
    }
    ui_->setHost(static_cast<gmpi::IMpUserInterfaceHost2*>(host_));
    ui_->initialize();
    if (options.sendDefaults) {
        for (const PinInfo& pin : info_.pins) {
            if (pin.output || pin.type == PinType::Audio || pin.type == PinType::Midi) continue;
            RawValue raw;
            if (pin.defaultRaw) {
                raw = *pin.defaultRaw;
            } else if (pin.type == PinType::Bool) {
                raw = rawBool(false);
            } else if (pin.type == PinType::Float) {
                raw = rawFloat(0.0f);
            } else if (pin.type == PinType::Int || pin.type == PinType::Enum) {
                raw = rawInt(0);
            }
            setRaw(pin.index, raw);
        }
    }
}

GraphicModule::~GraphicModule() {
    if (graphics_ != nullptr) graphics_->release();
    if (ui_ != nullptr) ui_->release();
    if (host_ != nullptr) host_->release();
}

int32_t GraphicModule::setRaw(int pin, const RawValue& raw, int voice) {
    const int32_t set = ui_->setPin(pin, voice, static_cast<int32_t>(raw.size()), raw.data());
    const int32_t notified = ui_->notifyPin(pin, voice);
    return set != MP_OK ? set : notified;
}

int32_t GraphicModule::setText(int pin, const std::string& text) {
    const PinInfo* info = info_.pin(pin);
    if (info == nullptr) throw std::invalid_argument(info_.id + " has no pin " + std::to_string(pin));
    return setRaw(pin, valueFromText(*info, text));
}

GmpiDrawing::Size GraphicModule::measure(GmpiDrawing::Size available) {
    GmpiDrawing::Size desired;
    graphics_->measure(available, &desired);
    return desired;
}

int32_t GraphicModule::arrange(GmpiDrawing::Rect rect) {
    arranged_ = rect;
    return graphics_->arrange(rect);
}

Image GraphicModule::render(int width, int height, bool fit, std::vector<DrawOp>* log) {
    GmpiDrawing::Size size(static_cast<float>(width), static_cast<float>(height));
    const GmpiDrawing::Size desired = measure(size);
    if (fit && std::isfinite(desired.width) && std::isfinite(desired.height)) size = desired;
    const int pictureWidth = std::clamp(static_cast<int>(std::ceil(size.width)), 1, 16384);
    const int pictureHeight = std::clamp(static_cast<int>(std::ceil(size.height)), 1, 16384);
    arrange(GmpiDrawing::Rect(0.0f, 0.0f, static_cast<float>(pictureWidth), static_cast<float>(pictureHeight)));
    Image picture(pictureWidth, pictureHeight);
    renderOnto(picture, log);
    return picture;
}

int32_t GraphicModule::renderOnto(Image& picture, std::vector<DrawOp>* log, uint32_t background) {
    if (background != 0) picture.fill(background);
    CairoContext* context = createCairoContext(host_->factory(), picture.surface(), draw_);
    setContextOrigin(context, arranged_.left, arranged_.top);
    setContextRecorder(context, log);
    GmpiDrawing_API::IMpDeviceContext* face = contextInterface(context);
    face->BeginDraw();
    const int32_t result = graphics_->OnRender(face);
    face->EndDraw();
    face->release();
    return result;
}

int32_t GraphicModule::pointer(const PointerEvent& event) {
    const GmpiDrawing_API::MP1_POINT point{event.x - arranged_.left, event.y - arranged_.top};
    switch (event.kind) {
        case PointerEvent::Down: return graphics_->onPointerDown(event.flags, point);
        case PointerEvent::Move: return graphics_->onPointerMove(event.flags, point);
        case PointerEvent::Up: return graphics_->onPointerUp(event.flags, point);
    }
    return MP_FAIL;
}

int32_t GraphicModule::pointerDown(float x, float y, int32_t flags) {
    return pointer(PointerEvent{PointerEvent::Down, x, y, flags});
}
int32_t GraphicModule::pointerMove(float x, float y, int32_t flags) {
    return pointer(PointerEvent{PointerEvent::Move, x, y, flags});
}
int32_t GraphicModule::pointerUp(float x, float y, int32_t flags) {
    return pointer(PointerEvent{PointerEvent::Up, x, y, flags});
}

void GraphicModule::runPointerScript(const std::vector<PointerEvent>& events) {
    for (const PointerEvent& event : events) pointer(event);
}

std::optional<std::vector<MenuItem>> GraphicModule::contextMenu(float x, float y) {
    ContextMenuSink sink;
    if (ui_->populateContextMenu(x - arranged_.left, y - arranged_.top, &sink) != MP_OK) return std::nullopt;
    return sink.items;
}

int32_t GraphicModule::chooseMenuItem(int32_t selection) { return ui_->onContextMenu(selection); }

std::optional<Transmission> GraphicModule::lastTransmission(int pin) const {
    for (auto it = host_->transmissions.rbegin(); it != host_->transmissions.rend(); ++it) {
        if (it->pinId == pin) return *it;
    }
    return std::nullopt;
}

}  // namespace tamhost
