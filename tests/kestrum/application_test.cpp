#include <unistd.h>

#include <string>

#include "kestrum/desktop.hpp"
#include "kestrum/widgets/inputline.hpp"
#include "kestrum/widgets/messagebox.hpp"
#include "tests/support/stream.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

using Loops = stream::Loops;

TEST_F(Loops, MessageBoxesAnswerQueuedKeysAndEscapeMeansCancel) {
    const struct { const char* keys; MessageBoxKind kind; int32_t answer; } asked[] = {
        {"\r", messagebox_kind_ok(), CMD_OK}, {"\t\r", messagebox_kind_yes_no(), CMD_NO},
        {"\t\t ", messagebox_kind_yes_no_cancel(), CMD_CANCEL},
        {"\x1b", messagebox_kind_ok(), CMD_CANCEL},  // a lone ESC: the Escape key after one quiet poll
        {"\x1bq\r", messagebox_kind_yes_no(), CMD_YES}};  // Alt-Q is no accelerator inside a modal
    for (const auto& a : asked) {
        type(a.keys);
        EXPECT_EQ(app->message_box("Question"_t, "Go on?"_t, a.kind), a.answer) << a.keys;
    }
    EXPECT_TRUE(app->modal_count == 0 && app->running);
}

TEST_F(Loops, NestedModalsStopAtTheLimitAndAnEndCommandLeavesOneLevel) {
    for (int32_t i = 0; i < MAX_MODALS + 1; i++) app->modal_push(messagebox_create(from_c(std::to_string(i).c_str()), "x"_t, messagebox_kind_ok()));
    EXPECT_EQ(app->modal_count, MAX_MODALS);
    EXPECT_STREQ(c_str(string(app->modal_top()->title)), "3");
    type("\r");
    EXPECT_EQ(app->modal_run(), CMD_OK);
    EXPECT_STREQ(c_str(string(app->modal_top()->title)), "2");

    // A plain window: its minimise button does nothing here, and Escape comes back as Cancel.
    Root<Window> win = make<Window>(rect(0, 0, 30, 8), "plain"_t);
    win->minimizable = true;
    app->modal_push(win);
    type(click(win->bounds.x + win->bounds.w - 4, win->bounds.y) + "\x1b");
    EXPECT_EQ(app->modal_run(), CMD_CANCEL);
    EXPECT_TRUE(!win->is_minimized() && app->modal_count == MAX_MODALS - 1);

    app->quit();  // as after a hangup: no pop, and the caller sees a cancelled dialog
    EXPECT_TRUE(app->modal_run() == CMD_CANCEL && app->modal_count == MAX_MODALS - 1);
}

TEST_F(Loops, AcceleratorsAndPastesOnTheDesktopRoute) {
    Root<CommandTable> table = commands_create(8);
    commands_set_accel(table, 100, key_event_ctrl_letter('S'));
    commands_set_accel(table, 101, key_event_plain(key_f(5)));
    commands_set_accel(table, CMD_QUIT, key_event(key_char('Q'), false, true, false));
    app->set_commands(table);
    app->set_status(empty_string());

    type("\x13\x1b[15~");  // two accelerators in one read: the second overwrites the first
    app->do_step();
    EXPECT_EQ(app->take_command(), 101);

    Root<Window> win = make<Window>(rect(2, 2, 30, 6), "form"_t);
    Root<InputLine> field = InputLine::create(rect(0, 0, 20, 1), 20, "a"_t);
    win->add(field);
    app->add_window(win);
    type("b\x1b[200~pasted\x1b[201~");  // the key goes first, the paste after it
    app->do_step();
    EXPECT_STREQ(c_str(string(field->text)), "abpasted");
    type("\x1bq");  // Alt-Q in either case, also with a focused field; the owner decides
    app->do_step();
    EXPECT_EQ(app->take_command(), CMD_QUIT);
    EXPECT_TRUE(app->running);

    close(keys.write_end), keys.write_end = -1;  // the terminal is gone, and no signal says so
    app->do_step();
    EXPECT_TRUE(app->hangup && !app->running);
}

TEST(MessageBoxes, SizeFollowsMessageTitleAndButtons) {
    auto outer = [](const char* title, const std::string& text, MessageBoxKind kind) {
        return dialog_outer(from_c(title), from_c(text.c_str()), kind);
    };
    EXPECT_EQ(outer("T", "", messagebox_kind_ok()), rect(0, 0, 40, 8));
    EXPECT_EQ(outer(std::string(60, 't').c_str(), "m", messagebox_kind_ok()), rect(0, 0, 70, 8));
    EXPECT_EQ(outer(std::string(70, 't').c_str(), "m", messagebox_kind_ok()), rect(0, 0, 72, 8));
    std::string words;
    for (int i = 0; i < 40; i++) words += "word ";
    EXPECT_EQ(outer("T", words.substr(0, 199), messagebox_kind_yes_no()), rect(0, 0, 72, 9));  // 4 rows of 68

    Root<MessageBox> box = messagebox_create("Open"_t, "Cannot open a directory: /tmp/some/where/deep"_t,
                                             messagebox_kind_yes_no_cancel());
    Root<CellBuffer> buf = cellbuf_create(52, 9);
    box->draw(buf, box->bounds, test_support::whole(buf), true, theme_ascii());
    EXPECT_SCREEN(buf, {"++ Open +-----------------------------------------+ ",
                        "| Cannot open a directory: /tmp/some/where/deep   | ",
                        "|                                                 | ",
                        "|                                                 | ",
                        "|                                                 | ",
                        "|                                                 | ",
                        "| [ Yes ]    [ No ]     [ Cancel ]                | ",
                        "+-------------------------------------------------▄ ",
                        "                                                    "});
    EXPECT_EQ(box->handle_event(event_key(key_event_plain(key_escape()))), event_command(CMD_CANCEL));
    EXPECT_EQ(box->handle_event(event_key(key_event_plain(key_enter()))), event_command(CMD_YES));
}

}  // namespace
