#pragma once

#include <gtkmm.h>

#include <functional>

// Calls back once, right after the next frame that paints a widget: how a view learns when what
// it shows first reached the screen. Destroying it (or a new watch) cancels a pending call.
class CorvaneNextPaint {
public:
    CorvaneNextPaint() = default;
    CorvaneNextPaint(const CorvaneNextPaint&) = delete;
    CorvaneNextPaint& operator=(const CorvaneNextPaint&) = delete;
    ~CorvaneNextPaint() { cancel(); }

    // The widget must outlive the watch.
    void watch(Gtk::Widget& widget, std::function<void()> painted);
    void cancel();
    bool pending() const { return tick_ != 0 || handler_ != 0; }

private:
    void afterPaint();

    Gtk::Widget* widget_ = nullptr;
    guint tick_ = 0;
    Glib::RefPtr<Gdk::FrameClock> clock_;
    gulong handler_ = 0;
    std::function<void()> painted_;
};
