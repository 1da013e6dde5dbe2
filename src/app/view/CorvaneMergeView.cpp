#include "app/view/CorvaneMergeView.h"

#include <gtksourceview/gtksource.h>

#include <algorithm>

#include "app/view/CorvaneSourceView.h"

namespace {

using Choice = CorvaneMerge::Choice;

// A source pane, highlighted as the output file's language; the container that takes it owns it.
Gtk::TextView* sourcePane(const std::string& text, GtkSourceLanguage* language) {
    GtkWidget* view = gtk_source_view_new();
    CorvaneStyleSourceView(view);
    GtkSourceBuffer* buffer = GTK_SOURCE_BUFFER(gtk_text_view_get_buffer(GTK_TEXT_VIEW(view)));
    gtk_text_buffer_set_enable_undo(GTK_TEXT_BUFFER(buffer), FALSE);
    gtk_source_buffer_set_language(buffer, language);
    gtk_text_buffer_set_text(GTK_TEXT_BUFFER(buffer), text.data(), static_cast<int>(text.size()));
    return Gtk::manage(Glib::wrap(GTK_TEXT_VIEW(view)));
}

Gtk::Widget& paneWithHeader(const std::string& header, Gtk::TextView& text) {
    auto* box = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    auto* caption = Gtk::make_managed<Gtk::Label>(header);
    caption->set_xalign(0);
    caption->set_margin(6);
    caption->add_css_class("heading");
    caption->set_tooltip_text(header);
    caption->set_ellipsize(Pango::EllipsizeMode::START);
    auto* scroller = Gtk::make_managed<Gtk::ScrolledWindow>();
    scroller->set_child(text);
    scroller->set_vexpand(true);
    scroller->set_hexpand(true);
    box->append(*caption);
    box->append(*scroller);
    return *box;
}

}  // namespace

CorvaneMergeView::CorvaneMergeView(std::unique_ptr<CorvaneMerge> merge,
                                   std::vector<std::string> headers)
    : Gtk::Box(Gtk::Orientation::VERTICAL), merge_(std::move(merge)) {
    headers.resize(3);
    actions_ = Gio::SimpleActionGroup::create();
    actions_->add_action("next-conflict", [this] { showNextConflict(); });
    actions_->add_action("previous-conflict", [this] { showPreviousConflict(); });
    const std::vector<std::pair<const char*, Choice>> takes = {
        {"take-left", Choice::left},
        {"take-right", Choice::right},
        {"take-left-then-right", Choice::leftThenRight},
        {"take-right-then-left", Choice::rightThenLeft},
        {"take-base", Choice::base},
    };
    for (const auto& [name, choice] : takes) {
        actions_->add_action(name, [this, choice = choice] { take(choice); });
    }
    actions_->add_action("resolve", [this] { resolve(); });
    insert_action_group("merge", actions_);

    auto shortcuts = Gtk::ShortcutController::create();
    const std::vector<std::pair<const char*, const char*>> keys = {
        {"<Alt>Down", "merge.next-conflict"},   {"F7", "merge.next-conflict"},
        {"<Alt>Up", "merge.previous-conflict"}, {"<Shift>F7", "merge.previous-conflict"},
        {"<Alt>Left", "merge.take-left"},       {"<Alt>Right", "merge.take-right"},
        {"<Control>s", "merge.resolve"},
    };
    for (const auto& [trigger, action] : keys) {
        shortcuts->add_shortcut(Gtk::Shortcut::create(Gtk::ShortcutTrigger::parse_string(trigger),
                                                      Gtk::NamedAction::create(action)));
    }
    add_controller(shortcuts);

    const std::vector<std::pair<const char*, const char*>> buttons = {
        {"Previous", "merge.previous-conflict"},
        {"Next", "merge.next-conflict"},
        {"Take Left", "merge.take-left"},
        {"Take Right", "merge.take-right"},
        {"Left, Then Right", "merge.take-left-then-right"},
        {"Right, Then Left", "merge.take-right-then-left"},
    };
    for (const auto& [label, action] : buttons) {
        auto* button = Gtk::make_managed<Gtk::Button>(label);
        button->set_action_name(action);
        toolbar_.append(*button);
    }
    if (merge_->hasBase()) {
        auto* base = Gtk::make_managed<Gtk::Button>("Take Base");
        base->set_action_name("merge.take-base");
        toolbar_.append(*base);
    }
    conflictsLeft_.set_hexpand(true);
    conflictsLeft_.set_xalign(1);
    resolve_.set_action_name("merge.resolve");
    resolve_.add_css_class("suggested-action");
    toolbar_.set_spacing(6);
    toolbar_.append(conflictsLeft_);
    toolbar_.append(resolve_);
    message_.set_xalign(0);
    message_.add_css_class("error");
    message_.set_visible(false);

    std::vector<std::pair<std::string, const std::string*>> sides = {{headers[0], &merge_->left()}};
    if (merge_->base()) {
        sides.emplace_back(headers[2], &*merge_->base());
    }
    sides.emplace_back(headers[1], &merge_->right());
    GtkSourceLanguage* language = CorvaneGuessLanguage(merge_->outputPath(), merge_->left());
    for (const auto& [header, text] : sides) {
        Gtk::TextView* view = sourcePane(*text, language);
        view->set_editable(false);
        sides_.append(paneWithHeader(header, *view));
    }
    sides_.set_homogeneous(true);
    sides_.set_spacing(6);

    result_ = sourcePane("", language);
    auto buffer = result_->get_buffer();
    conflictTag_ = buffer->create_tag("conflict");
    conflictTag_->property_paragraph_background() = "rgba(224, 27, 36, 0.18)";
    currentTag_ = buffer->create_tag("current");
    currentTag_->property_paragraph_background() = "rgba(53, 132, 228, 0.25)";
    buffer->signal_insert().connect(
        [this](const Gtk::TextBuffer::iterator& at, const Glib::ustring& text, int) {
            resultInserted(at, text);
        },
        false);
    buffer->signal_erase().connect(
        [this](const Gtk::TextBuffer::iterator& start, const Gtk::TextBuffer::iterator& end) {
            resultErased(start, end);
        },
        false);
    buffer->signal_changed().connect([this] {
        if (!updatingResult_) {
            shownResult_ = merge_->resultText();
            updateStatus();
        }
    });

    vertical_.set_start_child(sides_);
    vertical_.set_end_child(paneWithHeader("Result: " + merge_->outputPath(), *result_));
    vertical_.set_vexpand(true);
    append(toolbar_);
    append(message_);
    append(vertical_);
    showResult();
    showNextConflict();
}

void CorvaneMergeView::showResult() {
    updatingResult_ = true;
    shownResult_ = merge_->resultText();
    result_->get_buffer()->set_text(shownResult_);
    updatingResult_ = false;
    updateStatus();
}

size_t CorvaneMergeView::byteOffset(const Gtk::TextBuffer::iterator& at) const {
    size_t offset = 0;
    for (int line = 0; line < at.get_line(); ++line) {
        offset = shownResult_.find('\n', offset) + 1;
    }
    return offset + static_cast<size_t>(at.get_line_index());
}

Gtk::TextBuffer::iterator CorvaneMergeView::iteratorAt(size_t byteOffset) {
    byteOffset = std::min(byteOffset, shownResult_.size());
    int line = static_cast<int>(std::count(
        shownResult_.begin(), shownResult_.begin() + static_cast<long>(byteOffset), '\n'));
    size_t lineStart = shownResult_.rfind('\n', byteOffset == 0 ? 0 : byteOffset - 1);
    lineStart = lineStart == std::string::npos || byteOffset == 0 ? 0 : lineStart + 1;
    return result_->get_buffer()->get_iter_at_line_index(line,
                                                         static_cast<int>(byteOffset - lineStart));
}

void CorvaneMergeView::resultInserted(const Gtk::TextBuffer::iterator& at,
                                      const Glib::ustring& text) {
    if (!updatingResult_) {
        merge_->edit(byteOffset(at), 0, text.raw());
    }
}

void CorvaneMergeView::resultErased(const Gtk::TextBuffer::iterator& start,
                                    const Gtk::TextBuffer::iterator& end) {
    if (!updatingResult_) {
        size_t from = byteOffset(start);
        merge_->edit(from, byteOffset(end) - from, "");
    }
}

void CorvaneMergeView::updateStatus() {
    const auto& regions = merge_->regions();
    if (hasCurrent_ && (current_ >= regions.size() ||
                        regions[current_].kind != CorvaneMerge::Region::Kind::conflict)) {
        hasCurrent_ = false;
    }
    size_t left = merge_->conflictsLeft();
    conflictsLeft_.set_text(left == 1 ? "1 conflict left"
                                      : std::to_string(left) + " conflicts left");
    auto enable = [this](const char* name, bool enabled) {
        auto action = std::dynamic_pointer_cast<Gio::SimpleAction>(actions_->lookup_action(name));
        action->set_enabled(enabled);
    };
    enable("resolve", left == 0);
    for (const char* name :
         {"take-left", "take-right", "take-left-then-right", "take-right-then-left"}) {
        enable(name, hasCurrent_);
    }
    enable("take-base", hasCurrent_ && merge_->hasBase());
    enable("next-conflict",
           merge_->nextConflict(hasCurrent_ ? std::optional(current_) : std::nullopt).has_value());
    enable("previous-conflict", hasCurrent_ && merge_->previousConflict(current_).has_value());

    // Marks: every unresolved conflict in red, the current conflict in blue.
    auto buffer = result_->get_buffer();
    buffer->remove_all_tags(buffer->begin(), buffer->end());
    std::vector<size_t> offsets = merge_->regionOffsets();
    for (size_t region = 0; region < regions.size(); ++region) {
        bool unresolved = regions[region].kind == CorvaneMerge::Region::Kind::conflict &&
                          regions[region].choice == Choice::unresolved;
        bool current = hasCurrent_ && region == current_;
        if (unresolved || current) {
            buffer->apply_tag(current ? currentTag_ : conflictTag_, iteratorAt(offsets[region]),
                              iteratorAt(offsets[region + 1]));
        }
    }
}

bool CorvaneMergeView::showNextConflict() {
    auto next = merge_->nextConflict(hasCurrent_ ? std::optional(current_) : std::nullopt);
    if (!next) {
        return false;
    }
    current_ = *next;
    hasCurrent_ = true;
    updateStatus();
    auto at = iteratorAt(merge_->regionOffsets()[current_]);
    result_->get_buffer()->place_cursor(at);
    result_->scroll_to(at, 0.2);
    return true;
}

bool CorvaneMergeView::showPreviousConflict() {
    if (!hasCurrent_) {
        return false;
    }
    auto previous = merge_->previousConflict(current_);
    if (!previous) {
        return false;
    }
    current_ = *previous;
    updateStatus();
    auto at = iteratorAt(merge_->regionOffsets()[current_]);
    result_->get_buffer()->place_cursor(at);
    result_->scroll_to(at, 0.2);
    return true;
}

bool CorvaneMergeView::take(Choice choice) {
    if (!hasCurrent_ || !merge_->choose(current_, choice)) {
        return false;
    }
    showResult();
    return true;
}

void CorvaneMergeView::resolve() {
    std::string whyNot;
    switch (merge_->resolve(false, &whyNot)) {
        case CorvaneMerge::WriteOutcome::written:
            message_.set_visible(false);
            if (onResolved) {
                onResolved();
            }
            return;
        case CorvaneMerge::WriteOutcome::outputChangedElsewhere:
            ask(whyNot + " Overwrite it with the merge?", "Overwrite", [this] {
                std::string reason;
                if (merge_->resolve(true, &reason) == CorvaneMerge::WriteOutcome::written) {
                    if (onResolved) {
                        onResolved();
                    }
                    return;
                }
                message_.set_text(reason);
                message_.set_visible(true);
            });
            return;
        case CorvaneMerge::WriteOutcome::conflictsLeft:
        case CorvaneMerge::WriteOutcome::failed:
            message_.set_text(whyNot);
            message_.set_visible(true);
            return;
    }
}

void CorvaneMergeView::requestClose() {
    auto close = [this] {
        if (onClosedWithoutResolving) {
            onClosedWithoutResolving();
        }
    };
    if (!merge_->hasUserChanges()) {
        close();
        return;
    }
    ask("Close the merge without resolving it? The choices made in it will be lost.",
        "Close Without Resolving", close);
}

void CorvaneMergeView::ask(const std::string& question, const std::string& yes,
                           std::function<void()> then) {
    dialog_ = std::make_unique<Gtk::MessageDialog>(question, false, Gtk::MessageType::QUESTION,
                                                   Gtk::ButtonsType::NONE, true);
    if (auto* window = dynamic_cast<Gtk::Window*>(get_root())) {
        dialog_->set_transient_for(*window);
    }
    dialog_->add_button("Cancel", Gtk::ResponseType::CANCEL);
    dialog_->add_button(yes, Gtk::ResponseType::ACCEPT);
    dialog_->signal_response().connect([this, then = std::move(then)](int response) {
        dialog_->hide();
        if (response == Gtk::ResponseType::ACCEPT) {
            // Run once the dialog's handler has returned: the answer may close this tab.
            answer_ = then;
            Glib::signal_idle().connect_once(sigc::mem_fun(*this, &CorvaneMergeView::runAnswer));
        }
    });
    dialog_->show();
}

void CorvaneMergeView::runAnswer() {
    if (auto answer = std::move(answer_)) {
        answer_ = nullptr;
        answer();
    }
}
