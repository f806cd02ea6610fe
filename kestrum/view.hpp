// kestrum.view: what every visible thing is. A View is a rectangle that draws itself and answers
// events; a Group is a View holding child views, one of them focused, and routes events to them.
//
// The virtual operations stand in a fixed order, and every subclass extends that order. A view
// draws only into the buffer it is given, inside `clip`, in the theme it is given, and answers
// events with an EventResult that may carry a command number for its owner.
#pragma once
#include <stdint.h>

#include "kestrum/cell.hpp"
#include "kestrum/event.hpp"
#include "kestrum/theme.hpp"
#include "stdlib/collections/vec.hpp"

namespace kestrum {

// What an event handler answers: whether the event was consumed, and a command for the owner.
struct EventResult {
    bool handled = false;
    int32_t command = CMD_NONE;
    bool operator==(const EventResult&) const = default;
};

constexpr EventResult event_ignored() { return {false, CMD_NONE}; }
constexpr EventResult event_handled() { return {true, CMD_NONE}; }
constexpr EventResult event_command(int32_t cmd) { return {true, cmd}; }

class View {
    NOLT_MANAGED(View, void);

public:
    View() = default;
    explicit View(Rect bounds) : bounds(bounds) {}

    // For a top-level window in screen cells; for a child, relative to its parent's client origin.
    Rect bounds;
    bool visible = true;
    bool enabled = true;  // may take focus; a disabled window ignores every event

    virtual bool wants_focus() { return false; }
    // True while a drag that the view began is running: it gets every mouse event first.
    virtual bool captures_mouse() { return false; }
    // A drop-down beyond the view's rectangle, in the coordinates of `bounds`.
    virtual bool overlay_open() { return false; }
    virtual Rect overlay_rect() { return rect(0, 0, 0, 0); }
    virtual Rect hit_bounds() { return bounds; }
    // True when draw sets every cell of the view's rectangle that lies in the clip, so that what is
    // drawn there before it does not show.
    virtual bool opaque() { return false; }
    // `bounds` is the view's rectangle in screen cells, worked out by the parent; nothing is drawn
    // outside `clip`; `focused` is true for the parent's focused child. Every concrete view
    // overrides it; the base draws nothing.
    virtual void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme);
    virtual void draw_overlay(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused,
                              const Root<Theme>& theme);
    virtual EventResult handle_event(const Event& ev);
    // A descriptor the application loop watches for this view, or -1. Such a view acts as a
    // terminal inside its window: it fills the client area and takes Tab and Shift-Tab itself.
    virtual int32_t poll_fd() { return -1; }
    virtual bool fills_client() { return poll_fd() >= 0; }
    // Reads what the loop found on poll_fd(); true when the view must be redrawn.
    virtual bool drain_poll() { return false; }
    // Around handing the terminal to a child process.
    virtual void yield_pause() {}
    virtual void yield_resume() {}
};

using ViewList = stdlib::Vec<Root<View>>;

class Group : public View {
    NOLT_MANAGED(Group, View);

public:
    Group() = default;
    explicit Group(Rect bounds) : View(bounds) {}

    Member<ViewList> children;  // in order of adding; the later child lies on top
    int32_t focus = -1;         // the focused child's index, or -1

    // Mouse events go to dispatch_mouse with the group's own origin; other events to the focused
    // child, after Tab and Shift-Tab have had their chance to move the focus.
    EventResult handle_event(const Event& ev) override;

    virtual void add(const Root<View>& child);
    // Keeps the focus where it is if that child can still take it, else on the first that can.
    virtual void ensure_focus();
    virtual bool focus_next();
    virtual bool focus_prev();
    // `origin` is where child coordinates begin, in the coordinates of `ev`.
    virtual EventResult dispatch_mouse(const Event& ev, Point origin);

    int32_t child_count() const;
    // The child at `index`, or null outside the list.
    Root<View> child(int32_t index) const;
    Root<View> focused_child() const { return child(focus); }
    // Draws the visible children in order with their rectangles placed at the top left of `area`
    // (a child that fills_client() gets `area` itself), each clipped to `clip` and its rectangle
    // grown by one cell right and down, so that a scrollbar can lie on a surrounding frame. Then
    // the open overlays on top, each clipped to its overlay rectangle, `area` and `clip`.
    void draw_children(const Root<CellBuffer>& buf, Rect area, Rect clip, bool focused, const Root<Theme>& theme);
    // Whether one opaque visible child, placed as draw_children places it in `area`, covers `r`.
    bool child_covers(Rect area, Rect r);
};

// wants_focus(), enabled and visible.
bool child_can_focus(const Root<View>& view);
Rect view_abs_bounds(Rect r, Point origin);
// `ev` with its mouse position made relative to `origin`.
Event mouse_in_origin(const Event& ev, Point origin);
// A key event of Tab (modifiers not looked at), and of BackTab.
bool is_tab_key(const Event& ev);
bool is_backtab_key(const Event& ev);
int32_t group_child_count(const Root<Group>& group);

}  // namespace kestrum
