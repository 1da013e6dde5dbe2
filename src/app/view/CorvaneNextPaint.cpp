#include "app/view/CorvaneNextPaint.h"

void CorvaneNextPaint::watch(Gtk::Widget& widget, std::function<void()> painted) {
    cancel();
    widget_ = &widget;
    painted_ = std::move(painted);
    // The frame whose update ticks the widget is the next one to paint it.
    tick_ = widget.add_tick_callback([this](const Glib::RefPtr<Gdk::FrameClock>& clock) {
        tick_ = 0;
        clock_ = clock;
        handler_ = g_signal_connect_swapped(
            clock->gobj(), "after-paint",
            G_CALLBACK(+[](CorvaneNextPaint* watch) { watch->afterPaint(); }), this);
        return false;
    });
}

void CorvaneNextPaint::afterPaint() {
    auto painted = std::move(painted_);
    cancel();
    if (painted) {
        painted();
    }
}

void CorvaneNextPaint::cancel() {
    if (tick_ != 0 && widget_ != nullptr) {
        widget_->remove_tick_callback(tick_);
    }
    tick_ = 0;
    if (handler_ != 0) {
        g_signal_handler_disconnect(clock_->gobj(), handler_);
    }
    handler_ = 0;
    clock_.reset();
    painted_ = nullptr;
}
