#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <utility>

// One owned reference to an sd-bus or sd-event object, dropped when the owner goes: a slot stops
// its match or vtable, an event source is disabled first so that it never fires for an owner that
// is gone. A connection is only unreferenced; whoever must also close it says so
// (sd_bus_flush_close_unref(object.release())).
template <typename T>
class CVBusObject {
public:
    CVBusObject() = default;
    // Takes over a reference the caller owned.
    explicit CVBusObject(T* adopted) : object_(adopted) {}
    ~CVBusObject() { reset(); }
    CVBusObject(CVBusObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    CVBusObject& operator=(CVBusObject&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.object_, nullptr));
        }
        return *this;
    }
    CVBusObject(const CVBusObject&) = delete;
    CVBusObject& operator=(const CVBusObject&) = delete;

    T* get() const { return object_; }
    operator T*() const { return object_; }  // NOLINT: passed to the C API as it is
    // For the functions that answer a new reference through a pointer; drops the one held.
    T** out() {
        reset();
        return &object_;
    }
    T* release() { return std::exchange(object_, nullptr); }
    void reset(T* adopted = nullptr) {
        if (object_ != nullptr) {
            drop(object_);
        }
        object_ = adopted;
    }

private:
    static void drop(sd_bus* bus) { sd_bus_unref(bus); }
    static void drop(sd_bus_message* message) { sd_bus_message_unref(message); }
    static void drop(sd_bus_slot* slot) { sd_bus_slot_unref(slot); }
    static void drop(sd_bus_creds* credentials) { sd_bus_creds_unref(credentials); }
    static void drop(sd_event* event) { sd_event_unref(event); }
    static void drop(sd_event_source* source) { sd_event_source_disable_unref(source); }

    T* object_ = nullptr;
};
