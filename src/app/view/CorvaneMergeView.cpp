#include "app/view/CorvaneMergeView.h"

#include <gtksourceview/gtksource.h>

#include <algorithm>

#include "app/CorvaneText.h"
#include "app/view/CorvaneSourceView.h"

namespace {

using Choice = CorvaneMerge::Choice;

// A source pane, highlighted as the output file's language, that paints below its text; the
// container that takes it owns it.
Gtk::TextView* sourcePane(const std::string& text, GtkSourceLanguage* language,
                          CorvaneBelowTextPainter painter) {
    GtkSourceBuffer* buffer = gtk_source_buffer_new(nullptr);
    GtkWidget* view = CorvaneSourceViewNew(buffer, std::move(painter));
    g_object_unref(buffer);  // the view holds it
    CorvaneStyleSourceView(view);
    gtk_text_buffer_set_enable_undo(GTK_TEXT_BUFFER(buffer), FALSE);
    gtk_source_buffer_set_language(buffer, language);
    std::string_view shown = CorvaneShownText(text);
    gtk_text_buffer_set_text(GTK_TEXT_BUFFER(buffer), shown.data(), static_cast<int>(shown.size()));
    return Gtk::manage(Glib::wrap(GTK_TEXT_VIEW(view)));
}

// A pane under its caption: what the pane holds ("Left", "Base", "Right", "Result") and the path.
Gtk::Widget& paneWithHeader(const char* role, const std::string& path, Gtk::TextView& text) {
    auto* box = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    auto* caption = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 8);
    caption->set_margin(6);
    auto* roleLabel = Gtk::make_managed<Gtk::Label>(role);
    roleLabel->add_css_class("heading");
    auto* pathLabel = Gtk::make_managed<Gtk::Label>(path);
    pathLabel->set_xalign(0);
    pathLabel->set_hexpand(true);
    pathLabel->add_css_class("dim-label");
    pathLabel->set_tooltip_text(path);
    pathLabel->set_ellipsize(Pango::EllipsizeMode::START);
    caption->append(*roleLabel);
    caption->append(*pathLabel);
    auto* scroller = Gtk::make_managed<Gtk::ScrolledWindow>();
    scroller->set_child(text);
    scroller->set_vexpand(true);
    scroller->set_hexpand(true);
    box->append(*caption);
    box->append(*scroller);
    return *box;
}

}  // namespace

// How a region is tinted in every pane that shows it: a change taken automatically, a conflict
// still open, a conflict decided; the current conflict in the stronger shade of its state.
enum class CorvaneMergeTint { change, conflict, decided, currentConflict, currentDecided };

namespace {

using Tint = CorvaneMergeTint;

// The comparison's tints: a change as a changed line, a conflict as a deleted one, a decided
// conflict as an inserted one; the current conflict in the shade of changed words.
const char* colourOf(Tint tint) {
    const CorvaneTints& colours = CorvaneTintsOfStyle();
    switch (tint) {
        case Tint::change:
            return colours.changed;
        case Tint::conflict:
            return colours.deleted;
        case Tint::decided:
            return colours.inserted;
        case Tint::currentConflict:
            return colours.deletedWords;
        case Tint::currentDecided:
            return colours.insertedWords;
    }
    return colours.changed;
}

// Whether a side pane shows the region as changed: the side that changed it and the base it
// changed; the other side holds the base's lines unchanged.
bool changes(const CorvaneMerge::Region& region,
             CorvaneMerge::LineRange CorvaneMerge::Region::*side) {
    using Region = CorvaneMerge::Region;
    switch (region.kind) {
        case Region::Kind::left:
            return side != &Region::right;
        case Region::Kind::right:
            return side != &Region::left;
        default:
            return true;
    }
}

const char* nameOf(Tint tint) {
    static const char* const names[] = {"change", "conflict", "decided", "current-conflict",
                                        "current-decided"};
    return names[static_cast<int>(tint)];
}

// The tint of a region, or nothing for one that is the same on every side.
std::optional<Tint> tintOf(const CorvaneMerge::Region& region, bool current) {
    using Kind = CorvaneMerge::Region::Kind;
    if (region.kind == Kind::conflict) {
        bool open = region.choice == Choice::unresolved;
        if (current) {
            return open ? Tint::currentConflict : Tint::currentDecided;
        }
        return open ? Tint::conflict : Tint::decided;
    }
    if (region.choice == Choice::edited) {
        return Tint::decided;
    }
    return region.kind == Kind::unchanged ? std::nullopt : std::optional(Tint::change);
}

// The first and last lines a pane shows on screen.
std::pair<int, int> visibleLines(const Gtk::TextView& view) {
    Gdk::Rectangle visible;
    view.get_visible_rect(visible);
    Gtk::TextBuffer::const_iterator first;
    Gtk::TextBuffer::const_iterator last;
    int top = 0;
    view.get_line_at_y(first, visible.get_y(), top);
    view.get_line_at_y(last, visible.get_y() + std::max(visible.get_height() - 1, 0), top);
    return {first.get_line(), last.get_line()};
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
    // Caught before the focused pane: a source view has Alt+Up/Down move lines of the result.
    shortcuts->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
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

    using Region = CorvaneMerge::Region;
    struct Side {
        const char* role;
        const std::string& path;
        const std::string& text;
        CorvaneMerge::LineRange Region::*lines;
    };
    std::vector<Side> sides = {{"Left", headers[0], merge_->left(), &Region::left}};
    if (merge_->base()) {
        sides.push_back({"Base", headers[2], *merge_->base(), &Region::base});
    }
    sides.push_back({"Right", headers[1], merge_->right(), &Region::right});
    GtkSourceLanguage* language = CorvaneGuessLanguage(merge_->outputPath(), merge_->left());
    auto painterOfPane = [this](size_t pane) -> CorvaneBelowTextPainter {
        return [this, pane](GtkSnapshot* snapshot, const GdkRectangle& visible) {
            paintTints(pane, snapshot, visible);
        };
    };
    for (const Side& side : sides) {
        Gtk::TextView* view = sourcePane(side.text, language, painterOfPane(sidePanes_.size()));
        view->set_editable(false);
        sides_.append(paneWithHeader(side.role, side.path, *view));
        sidePanes_.push_back({side.role, view, side.lines});
    }
    sides_.set_homogeneous(true);
    sides_.set_spacing(6);

    result_ = sourcePane("", language, painterOfPane(sidePanes_.size()));
    tints_.resize(sidePanes_.size() + 1);
    auto buffer = result_->get_buffer();
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
            shownResult_ = CorvaneShownText(merge_->resultText());
            updateStatus();
        }
    });

    // The panes scroll together, each to the same place in the region shown at the top. Each
    // scrolls on past its end until its last line is a quarter down, where a conflict is shown:
    // a conflict at the end of the file is then shown whole in every pane, the result's longer
    // one too, and a pane that ends sooner does not hold the others back.
    for (Gtk::TextView* view : views()) {
        // The closures hold the pane, not its adjustment: one held by a handler of its own would
        // be kept for ever.
        Glib::RefPtr<Gtk::Adjustment> scroll = view->get_vadjustment();
        scroll->signal_value_changed().connect([this, view] { followScroll(*view); });
        scroll->property_page_size().signal_changed().connect([view] {
            // Once the pane is laid out: a margin changed while it is would unsettle its layout.
            Glib::signal_idle().connect_once(sigc::track_obj(
                [view] {
                    int margin = static_cast<int>(view->get_vadjustment()->get_page_size() * 0.75);
                    if (view->get_bottom_margin() != margin) {
                        view->set_bottom_margin(margin);
                    }
                },
                *view));
        });
    }

    vertical_.set_start_child(sides_);
    vertical_.set_end_child(paneWithHeader("Result", merge_->outputPath(), *result_));
    vertical_.set_vexpand(true);
    append(toolbar_);
    append(message_);
    append(vertical_);
    showResult();
    showNextConflict();
    // Once, when the tab is first on screen: the panes laid out by then take the first
    // conflict's scroll for sure. Later showings keep wherever the person left them.
    auto firstShown = std::make_shared<sigc::connection>();
    *firstShown = result_->signal_map().connect([this, firstShown] {
        firstShown->disconnect();
        Glib::signal_idle().connect_once([this] {
            if (hasCurrent_) {
                scrollToCurrent();
            }
        });
    });
}

void CorvaneMergeView::showResult() {
    updatingResult_ = true;
    std::string result = merge_->resultText();
    shownResult_ = CorvaneShownText(result);
    if (!result.empty()) {
        resultLineEnd_ = result.substr(shownResult_.size());
    }
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
    if (updatingResult_) {
        return;
    }
    if (shownResult_.empty() && merge_->resultText().empty()) {
        // Text typed into an emptied result gets back the line end the result ended with.
        merge_->edit(0, 0, text.raw() + resultLineEnd_);
    } else {
        merge_->edit(byteOffset(at), 0, text.raw());
    }
}

void CorvaneMergeView::resultErased(const Gtk::TextBuffer::iterator& start,
                                    const Gtk::TextBuffer::iterator& end) {
    if (updatingResult_) {
        return;
    }
    size_t from = byteOffset(start);
    size_t length = byteOffset(end) - from;
    // All that is shown erased leaves an empty file, not a lone line end.
    bool everything = length > 0 && length == shownResult_.size();
    merge_->edit(from, everything ? merge_->resultText().size() : length, "");
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

    countResultLines();
    showTints();
}

void CorvaneMergeView::countResultLines() {
    std::vector<size_t> offsets = merge_->regionOffsets();
    size_t resultSize = offsets.back();
    resultLines_.assign(offsets.size(), 0);
    size_t counted = 0;
    int line = 0;
    for (size_t region = 0; region < offsets.size(); ++region) {
        size_t end = std::min(offsets[region], shownResult_.size());
        line += static_cast<int>(std::count(shownResult_.begin() + static_cast<long>(counted),
                                            shownResult_.begin() + static_cast<long>(end), '\n'));
        counted = std::max(counted, end);
        // The result's end closes its last line, whether the pane shows that line end or the line
        // has none: a place at the end comes after the last line.
        bool atEnd = offsets[region] == resultSize && resultSize > 0;
        resultLines_[region] = line + (atEnd ? 1 : 0);
    }
}

void CorvaneMergeView::showTints() {
    const auto& regions = merge_->regions();
    for (auto& pane : tints_) {
        pane.clear();
    }
    auto add = [](std::vector<LineTint>* pane, Tint tint, int start, int count) {
        if (count > 0) {
            pane->push_back({tint, start, count});
        }
    };
    for (size_t region = 0; region < regions.size(); ++region) {
        auto tint = tintOf(regions[region], hasCurrent_ && region == current_);
        if (!tint) {
            continue;
        }
        for (size_t pane = 0; pane < sidePanes_.size(); ++pane) {
            const CorvaneMerge::LineRange& lines = regions[region].*sidePanes_[pane].lines;
            if (changes(regions[region], sidePanes_[pane].lines)) {
                add(&tints_[pane], *tint, lines.start, lines.count);
            }
        }
        CorvaneMerge::LineRange lines = linesOf(*result_, region);
        add(&tints_.back(), *tint, lines.start, lines.count);
    }
    for (Gtk::TextView* view : views()) {
        view->queue_draw();
    }
}

void CorvaneMergeView::paintTints(size_t pane, GtkSnapshot* snapshot,
                                  const GdkRectangle& visible) const {
    if (pane >= tints_.size() || tints_[pane].empty()) {
        return;
    }
    Gtk::TextView* shown = pane < sidePanes_.size() ? sidePanes_[pane].view : result_;
    GtkTextView* view = shown->gobj();
    GtkTextBuffer* buffer = gtk_text_view_get_buffer(view);
    auto [firstLine, lastLine] = visibleLines(*shown);
    for (const LineTint& tint : tints_[pane]) {
        if (tint.start + tint.count <= firstLine || tint.start > lastLine) {
            continue;
        }
        GtkTextIter iterator;
        int top = 0;
        int bottom = 0;
        int height = 0;
        gtk_text_buffer_get_iter_at_line(buffer, &iterator, tint.start);
        gtk_text_view_get_line_yrange(view, &iterator, &top, &height);
        gtk_text_buffer_get_iter_at_line(buffer, &iterator, tint.start + tint.count - 1);
        gtk_text_view_get_line_yrange(view, &iterator, &bottom, &height);
        bottom += height;
        GdkRGBA colour;
        gdk_rgba_parse(&colour, colourOf(tint.tint));
        graphene_rect_t area = {
            {static_cast<float>(visible.x), static_cast<float>(top)},
            {static_cast<float>(visible.width), static_cast<float>(bottom - top)}};
        gtk_snapshot_append_color(snapshot, &colour, &area);
    }
}

CorvaneJSON CorvaneMergeView::panes() const {
    std::vector<Gtk::TextView*> shown = views();
    CorvaneJSON panes = CorvaneJSON::array();
    for (size_t pane = 0; pane < shown.size(); ++pane) {
        // Runs of one tint that meet are one run.
        CorvaneJSON tinted = CorvaneJSON::array();
        for (const LineTint& tint : tints_[pane]) {
            const char* name = nameOf(tint.tint);
            if (!tinted.empty() && tinted.back()["kind"] == name &&
                tinted.back()["start"].get<int>() + tinted.back()["count"].get<int>() ==
                    tint.start) {
                tinted.back()["count"] = tinted.back()["count"].get<int>() + tint.count;
            } else {
                tinted.push_back({{"kind", name}, {"start", tint.start}, {"count", tint.count}});
            }
        }
        auto [first, last] = visibleLines(*shown[pane]);
        panes.push_back({{"role", pane < sidePanes_.size() ? sidePanes_[pane].role : "Result"},
                         {"lineCount", shown[pane]->get_buffer()->get_line_count()},
                         {"tinted", tinted},
                         {"visibleLines", {first, last}}});
    }
    return panes;
}

std::vector<Gtk::TextView*> CorvaneMergeView::views() const {
    std::vector<Gtk::TextView*> views;
    for (const SidePane& pane : sidePanes_) {
        views.push_back(pane.view);
    }
    views.push_back(result_);
    return views;
}

CorvaneMerge::LineRange CorvaneMergeView::linesOf(const Gtk::TextView& view, size_t region) const {
    for (const SidePane& pane : sidePanes_) {
        if (pane.view == &view) {
            return merge_->regions()[region].*pane.lines;
        }
    }
    return {resultLines_[region], resultLines_[region + 1] - resultLines_[region]};
}

void CorvaneMergeView::scrollToCurrent() {
    // Each pane scrolls to its own lines of the conflict, through the cursor's mark: a view
    // scrolls to a mark once its lines are laid out. Lines are laid out over several frames (more
    // on a busy machine), and a result written again anew, so the scroll is asked again on each
    // frame until every pane shows the conflict twice running, for two seconds at the most.
    // Meanwhile the panes do not follow each other's scrolls.
    followingScroll_ = true;
    auto scroll = [this] {
        for (Gtk::TextView* view : views()) {
            auto buffer = view->get_buffer();
            buffer->place_cursor(buffer->get_iter_at_line(linesOf(*view, current_).start));
            view->scroll_to(buffer->get_insert(), 0, 0, 0.25);  // a quarter down: context above
        }
    };
    scroll();
    bool settling = framesToSettle_ > 0;
    framesToSettle_ = 120;
    framesShown_ = 0;
    if (settling) {
        return;
    }
    result_->add_tick_callback([this, scroll](const Glib::RefPtr<Gdk::FrameClock>&) {
        std::vector<Gtk::TextView*> panes = views();
        bool shown = hasCurrent_ && std::all_of(panes.begin(), panes.end(), [&](auto* view) {
                         auto [first, last] = visibleLines(*view);
                         int line = linesOf(*view, current_).start;
                         return first <= line && line <= last;
                     });
        framesShown_ = shown ? framesShown_ + 1 : 0;
        if (framesShown_ >= 2 || !hasCurrent_ || --framesToSettle_ <= 0) {
            framesToSettle_ = 0;
            followingScroll_ = false;
            return false;
        }
        if (!shown) {
            scroll();
        }
        return true;
    });
}

void CorvaneMergeView::followScroll(Gtk::TextView& moved) {
    const auto& regions = merge_->regions();
    // Not before the result's lines are known for the regions of now.
    if (followingScroll_ || regions.empty() || resultLines_.size() != regions.size() + 1) {
        return;
    }
    followingScroll_ = true;
    // Where the moved pane's top is: a line of some region, and how far into that line.
    double top = moved.get_vadjustment()->get_value();
    Gtk::TextBuffer::iterator line;
    int lineTop = 0;
    moved.get_line_at_y(line, static_cast<int>(top), lineTop);
    int y = 0;
    int height = 0;
    moved.get_line_yrange(line, y, height);
    double into = height > 0 ? (top - y) / height : 0;
    size_t region = regions.size() - 1;
    for (size_t index = 0; index < regions.size(); ++index) {
        CorvaneMerge::LineRange lines = linesOf(moved, index);
        if (line.get_line() < lines.start + lines.count) {
            region = index;
            break;
        }
    }
    int depth = line.get_line() - linesOf(moved, region).start;
    for (Gtk::TextView* view : views()) {
        if (view == &moved) {
            continue;
        }
        // The same depth into the region where this pane has it; else the line after it.
        CorvaneMerge::LineRange lines = linesOf(*view, region);
        bool within = depth < lines.count;
        auto target = view->get_buffer()->get_iter_at_line(within ? lines.start + depth
                                                                  : lines.start + lines.count);
        view->get_line_yrange(target, y, height);
        view->get_vadjustment()->set_value(y + (within ? into * height : 0));
    }
    followingScroll_ = false;
}

bool CorvaneMergeView::showNextConflict() {
    auto next = merge_->nextConflict(hasCurrent_ ? std::optional(current_) : std::nullopt);
    if (!next) {
        return false;
    }
    current_ = *next;
    hasCurrent_ = true;
    updateStatus();
    scrollToCurrent();
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
    scrollToCurrent();
    return true;
}

bool CorvaneMergeView::take(Choice choice) {
    if (!hasCurrent_ || !merge_->choose(current_, choice)) {
        return false;
    }
    showResult();
    scrollToCurrent();  // the result was written again: keep the choice in view
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
