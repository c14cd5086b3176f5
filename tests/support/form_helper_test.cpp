// Forms on the desktop: the line protocol with the form helper, the library's side of the
// conversation against scripted stand-ins for the helper (failing, silent, dying ones
// among them), and the real helper drawing the options dialog on Xvfb.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/temp_config.h"
#include "platform/form_protocol.h"
#include "platform/module.h"
#include "platform/settings_store.h"
#include "platform/ui_form.h"
#include "platform/ui_script.h"
#include "support/options_dialog.h"
#include "support/shared_services.h"
#include "tools/formhelper/look.h"

// Last: Xlib's macros (None, Bool, Status...) would clash with the headers above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

extern char** environ;

namespace vitrella {
namespace {

using platform::ControlKind;
using platform::Form;
using platform::FormControl;
namespace protocol = platform::form_protocol;

Form SampleForm() {
  Form form;
  form.templateId = 115;
  form.title = u"Options \u00e4\u4e2d";
  form.width = 340;
  form.height = 200;
  form.focus = 1;
  form.controls = {
      {232, ControlKind::kBitmapButton, u"", 10, 10, 96, 96, true, false},
      {1008, ControlKind::kText, u"two\r\nlines \\ with\ta tab", 116, 14, 214, 60, true, false},
      {230, ControlKind::kCheckBox, u"Up / Down", 20, 136, 300, 16, true, true},
      {231, ControlKind::kCheckBox, u"Crop Overscan", 20, 160, 300, 16, false, false},
      {1004, ControlKind::kGroup, u"Options", 10, 116, 320, 60, true, false},
      {1, ControlKind::kButton, u"OK", 90, 170, 75, 24, true, false},
      {2, ControlKind::kButton, u"Cancel", 170, 170, 75, 24, true, false},
  };
  auto bitmap = std::make_shared<platform::Bitmap>();
  *bitmap = {2, 2, {0x000000, 0xFFFFFF, 0x123456, 0xABCDEF}};
  form.bitmaps[232] = bitmap;
  return form;
}

Form ReadBack(const std::string& description) {
  protocol::FormReader reader;
  std::istringstream lines(description);
  std::string line;
  while (std::getline(lines, line) && reader.Add(line)) {
  }
  EXPECT_TRUE(reader.Finished());
  return reader.Result();
}

TEST(FormProtocolTest, AFormReadsBackAsItWasWrittenWithoutItsHiddenControls) {
  const Form form = SampleForm();
  const std::string description = protocol::Describe(form);
  EXPECT_TRUE(description.ends_with("\nshow\n"));
  // One record a line, whatever the texts hold.
  EXPECT_EQ(std::count(description.begin(), description.end(), '\n'), 9);
  const Form back = ReadBack(description);
  EXPECT_EQ(back.templateId, 115);
  EXPECT_EQ(back.title, form.title);
  EXPECT_EQ(back.width, 340);
  EXPECT_EQ(back.height, 200);
  EXPECT_EQ(back.focus, 1);
  ASSERT_EQ(back.controls.size(), 6u);
  EXPECT_EQ(back.Find(231), nullptr);
  for (const FormControl& control : back.controls) {
    const FormControl& original = *form.Find(control.id);
    EXPECT_EQ(control.kind, original.kind) << control.id;
    EXPECT_EQ(control.text, original.text) << control.id;
    EXPECT_EQ(control.x, original.x);
    EXPECT_EQ(control.y, original.y);
    EXPECT_EQ(control.width, original.width);
    EXPECT_EQ(control.height, original.height);
    EXPECT_EQ(control.checked, original.checked);
  }
  ASSERT_EQ(back.bitmaps.count(232), 1u);
  EXPECT_EQ(back.bitmaps.at(232)->pixels, form.bitmaps.at(232)->pixels);
}

TEST(FormProtocolTest, DamagedLinesAreSkipped) {
  const Form back = ReadBack(
      "form 5 100 80 0 Title\n"
      "control 1 button 0 0 10 10 0 OK\n"
      "control x button 0 0 10 10 0 bad id\n"
      "control 2 wheel 0 0 10 10 0 unknown kind\n"
      "control 3 label 0 0 99999 10 0 too wide\n"
      "control 4 label 0 0 -5 10 0 negative\n"
      "control 5 bitmap 0 0 2 2 0\n"
      "pixels 5 2 2 00000011111122222\n"         // one digit short
      "pixels 5 2 2 0000001111112222223333ZZ\n"  // not hexadecimal
      "pixels 5 100000 100000 00\n"              // a size no dialog has
      "\n"
      "show\n"
      "control 6 label 0 0 1 1 0 after the end\n");
  EXPECT_EQ(back.title, u"Title");
  ASSERT_EQ(back.controls.size(), 2u);
  EXPECT_EQ(back.controls[0].id, 1);
  EXPECT_EQ(back.controls[1].id, 5);
  EXPECT_TRUE(back.bitmaps.empty());
  EXPECT_EQ(protocol::Unescape("a\\\\b\\n\\"), "a\\b\n\\");
}

TEST(FormProtocolTest, TheHelpersLines) {
  using Kind = protocol::HelperEvent::Kind;
  EXPECT_EQ(protocol::ParseHelperLine("shown")->kind, Kind::kWindowShown);
  EXPECT_EQ(protocol::ParseHelperLine("failed display")->kind, Kind::kWindowFailed);
  const auto on = protocol::ParseHelperLine("check 230 on\r");
  ASSERT_TRUE(on);
  EXPECT_EQ(on->kind, Kind::kCheck);
  EXPECT_EQ(on->id, 230);
  EXPECT_TRUE(on->on);
  EXPECT_FALSE(protocol::ParseHelperLine("check 230 off")->on);
  EXPECT_EQ(protocol::ParseHelperLine("command 1011")->id, 1011);
  for (const char* bad : {"", "check 230", "check 230 maybe", "check on", "command", "command 1 2",
                          "command 99999999999", "commands 1", "close"}) {
    EXPECT_FALSE(protocol::ParseHelperLine(bad)) << bad;
  }
  EXPECT_EQ(protocol::CheckLine(7, false), "check 7 off\n");
  EXPECT_EQ(protocol::CommandLine(7), "command 7\n");
}

// Keeps an environment variable as it was.
class EnvironmentKeeper {
 public:
  explicit EnvironmentKeeper(const char* name) : name_(name) {
    if (const char* value = std::getenv(name)) value_ = value;
  }
  ~EnvironmentKeeper() {
    if (value_) {
      setenv(name_, value_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  EnvironmentKeeper(const EnvironmentKeeper&) = delete;
  EnvironmentKeeper& operator=(const EnvironmentKeeper&) = delete;

 private:
  const char* name_;
  std::optional<std::string> value_;
};

// The desktop backend asked for, with a display the scripted helpers never open.
class DesktopFormTest : public ::testing::Test {
 protected:
  DesktopFormTest() {
    std::string pattern = std::filesystem::temp_directory_path() / "vitrella-form-XXXXXX";
    dir_ = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    unsetenv(kUiBackendVariable);
    unsetenv(platform::kUiFormVariable);
    setenv("DISPLAY", ":31999", 1);
    unsetenv("WAYLAND_DISPLAY");
    platform::ResetFormScript();
    platform::SetFormHelperStartWait(2000);
  }
  ~DesktopFormTest() override {
    platform::SetFormHelperStartWait(0);
    platform::ResetFormScript();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // A stand-in for the helper: a shell script that keeps the description in "described",
  // then plays body, where "$D" is the test's folder.
  void UseHelper(const std::string& body) {
    const std::string path = dir_ + "/helper";
    std::ofstream(path) << "#!/bin/sh\nD='" << dir_
                        << "'\nwhile IFS= read -r line; do printf '%s\\n' \"$line\" >> "
                           "\"$D/described\"; [ \"$line\" = show ] && break; done\n"
                        << body;
    chmod(path.c_str(), 0755);
    setenv(platform::kFormHelperVariable, path.c_str(), 1);
  }
  std::string Read(const char* name) const {
    return testing::TempConfig::ReadFile(dir_ + "/" + name);
  }

  static Form SmallForm() {
    Form form;
    form.templateId = 7;
    form.width = 200;
    form.height = 100;
    form.controls = {{230, ControlKind::kCheckBox, u"check", 10, 10, 100, 16, true, false},
                     {231, ControlKind::kCheckBox, u"hidden", 10, 30, 100, 16, false, false},
                     {9, ControlKind::kButton, u"Help", 10, 60, 50, 24, true, false},
                     {1, ControlKind::kButton, u"OK", 70, 60, 50, 24, true, false}};
    return form;
  }

  // Every child of the test has been reaped.
  static bool NoChildrenLeft() { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

  EnvironmentKeeper backend_{kUiBackendVariable};
  EnvironmentKeeper display_{"DISPLAY"};
  EnvironmentKeeper wayland_{"WAYLAND_DISPLAY"};
  EnvironmentKeeper helperPath_{platform::kFormHelperVariable};
  EnvironmentKeeper steps_{platform::kUiFormVariable};
  std::string dir_;
};

TEST_F(DesktopFormTest, TheLibraryHearsTheHelperOutAndAnswersEachCommand) {
  UseHelper(
      "echo shown\n"
      "echo 'nonsense'\n"
      "echo 'check 230 on'\n"
      "echo 'check 231 on'\n"  // hidden: not the user's doing
      "echo 'check 1 on'\n"    // a button is no check box
      "echo 'command 230'\n"   // nor a check box a button
      "read a; echo \"$a\" >> \"$D/answers\"\n"
      "echo 'command 9'\n"
      "read a; echo \"$a\" >> \"$D/answers\"\n"
      "echo 'command 1'\n"
      "read a; echo \"$a\" >> \"$D/answers\"\n"
      "read a\n");
  Form form = SmallForm();
  std::vector<int32_t> commands;
  const int32_t result = platform::RunForm(nullptr, form, [&](int32_t id) {
    commands.push_back(id);
    return id == 1;
  });
  EXPECT_EQ(result, 1);
  EXPECT_EQ(commands, (std::vector<int32_t>{9, 1}));
  EXPECT_TRUE(form.Find(230)->checked);
  EXPECT_FALSE(form.Find(231)->checked);
  EXPECT_FALSE(form.Find(1)->checked);
  EXPECT_EQ(Read("answers"), "stay\nstay\nclose\n");
  EXPECT_EQ(Read("described"), protocol::Describe(SmallForm()));
  ASSERT_FALSE(platform::ShownForms().empty());
  EXPECT_TRUE(platform::ShownForms().back().desktop);
  EXPECT_TRUE(NoChildrenLeft());
}

TEST_F(DesktopFormTest, AHelperThatCannotShowTheFormLeavesItToTheScript) {
  const auto run = [] {
    platform::ScriptFormSteps("230=on 1");
    Form form = SmallForm();
    const int32_t result = platform::RunForm(nullptr, form, [](int32_t id) { return id == 1; });
    EXPECT_TRUE(form.Find(230)->checked);
    EXPECT_FALSE(platform::ShownForms().back().desktop);
    return result;
  };
  setenv(platform::kFormHelperVariable, (dir_ + "/missing").c_str(), 1);
  EXPECT_EQ(run(), 1);
  UseHelper("echo 'failed display'\nexec sleep 30\n");  // killed, not waited for
  EXPECT_EQ(run(), 1);
  UseHelper("exit 3\n");
  EXPECT_EQ(run(), 1);
  // Silent past the wait; the helper's own sleep would outlast the test.
  platform::SetFormHelperStartWait(300);
  UseHelper("exec sleep 30\n");
  EXPECT_EQ(run(), 1);
  // Without a display nothing is started at all.
  unsetenv("DISPLAY");
  UseHelper("echo shown; echo 'command 2'; read a\n");
  EXPECT_EQ(run(), 1);
  EXPECT_TRUE(NoChildrenLeft());
}

TEST_F(DesktopFormTest, AHelperThatDiesWhileTheFormIsOpenCancelsIt) {
  // The answer to its command goes to a closed stream: no SIGPIPE may end the host.
  UseHelper("echo shown\necho 'command 9'\nexit 0\n");
  Form form = SmallForm();
  const int32_t result = platform::RunForm(nullptr, form, [](int32_t) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return false;
  });
  EXPECT_EQ(result, platform::kFormCancel);
  EXPECT_TRUE(NoChildrenLeft());
}

TEST_F(DesktopFormTest, TheOptionsDialogHandsTheHelperItsLogoAndTheSettingsStoredNow) {
  testing::TempConfig config;
  const platform::ModuleHandle library =
      platform::LoadModule(u"" VITRELLA_BIN_DIR "/Vitrella3OpenGL64.so");
  ASSERT_NE(library, nullptr);
  CSharedServices services;
  ASSERT_TRUE(services.Initialise(library, nullptr, nullptr));
  ASSERT_NE(services.Logo(), nullptr);
  // Stored by another process after the start: the dialog shows it checked.
  platform::WriteSetting("Common", "Knobs Drag Vertical", "yes");
  UseHelper("echo shown\necho 'command 1'\nread a\n");
  EXPECT_EQ(services.ShowOptions(nullptr, nullptr), 1);
  const Form described = ReadBack(Read("described"));
  ASSERT_EQ(described.bitmaps.count(options::kLogo), 1u);
  EXPECT_EQ(described.bitmaps.at(options::kLogo)->pixels, services.Logo()->pixels);
  ASSERT_NE(described.Find(options::kKnobs), nullptr);
  EXPECT_TRUE(described.Find(options::kKnobs)->checked);
  EXPECT_EQ(platform::ReadSetting("Common", "Knobs Drag Vertical").text, "yes");
  platform::FreeModule(library);
}

// Xvfb on a display number of its own choosing, told through a pipe once it accepts
// clients.
class Xvfb {
 public:
  Xvfb() {
    int ready[2];
    if (pipe(ready) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ready[1], 3);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> args = {"Xvfb", "-displayfd", "3",         "-screen",
                                     "0",    "640x480x24", "-nolisten", "tcp"};
    std::vector<char*> argv;
    for (std::string& arg : args)
      argv.push_back(arg.data());
    argv.push_back(nullptr);
    if (posix_spawnp(&pid_, "Xvfb", &actions, nullptr, argv.data(), environ) != 0) pid_ = 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ready[1]);
    std::string number;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (pid_ != 0 && number.find('\n') == std::string::npos &&
           std::chrono::steady_clock::now() < deadline) {
      pollfd watch{ready[0], POLLIN, 0};
      if (poll(&watch, 1, 100) <= 0) continue;
      char c = 0;
      if (read(ready[0], &c, 1) != 1) break;
      number += c;
    }
    close(ready[0]);
    if (number.find('\n') != std::string::npos)
      display_ = ":" + number.substr(0, number.find('\n'));
  }
  ~Xvfb() {
    if (pid_ == 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;

  // Empty when it did not start in time.
  const std::string& Name() const { return display_; }

 private:
  pid_t pid_ = 0;
  std::string display_;
};

bool XvfbInstalled() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    if (access((folder + "/Xvfb").c_str(), X_OK) == 0) return true;
  }
  return false;
}

// The helper's top-level window that shows the form of that template; 0 for none.
Window DrawnForm(Display* display, long templateId) {
  const Atom drawn = XInternAtom(display, formhelper::kDrawnProperty, False);
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  Window found = 0;
  if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) {
    for (unsigned i = 0; i < count && found == 0; ++i) {
      Atom type = 0;
      int format = 0;
      unsigned long items = 0;
      unsigned long after = 0;
      unsigned char* value = nullptr;
      if (XGetWindowProperty(display, children[i], drawn, 0, 1, False, AnyPropertyType, &type,
                             &format, &items, &after, &value) == Success &&
          value != nullptr) {
        if (items == 1 && *reinterpret_cast<long*>(value) == templateId) found = children[i];
        XFree(value);
      }
    }
    if (children != nullptr) XFree(children);
  }
  return found;
}

// Waits up to 10 s for the form's window to show (or, with shown false, to go).
Window AwaitForm(Display* display, long templateId, bool shown) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < deadline) {
    const Window window = DrawnForm(display, templateId);
    if ((window != 0) == shown) return window;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return shown ? 0 : DrawnForm(display, templateId);
}

void PressKey(Display* display, Window window, KeySym key) {
  XEvent event{};
  event.xkey.type = KeyPress;
  event.xkey.display = display;
  event.xkey.window = window;
  event.xkey.root = DefaultRootWindow(display);
  event.xkey.keycode = XKeysymToKeycode(display, key);
  event.xkey.same_screen = True;
  XSendEvent(display, window, False, KeyPressMask, &event);
  XFlush(display);
}

void Click(Display* display, Window window, int x, int y) {
  for (const int type : {ButtonPress, ButtonRelease}) {
    XEvent event{};
    event.xbutton.type = type;
    event.xbutton.display = display;
    event.xbutton.window = window;
    event.xbutton.root = DefaultRootWindow(display);
    event.xbutton.x = x;
    event.xbutton.y = y;
    event.xbutton.button = Button1;
    event.xbutton.same_screen = True;
    XSendEvent(display, window, False, type == ButtonPress ? ButtonPressMask : ButtonReleaseMask,
               &event);
  }
  XFlush(display);
}

TEST(DesktopOptionsTest, OnXvfbTheRowsStandWhereTheLayoutPutsThemAndOkAndEscapeWork) {
  if (!XvfbInstalled()) GTEST_SKIP() << "Xvfb is not installed";
  auto server = std::make_unique<Xvfb>();
  ASSERT_FALSE(server->Name().empty()) << "Xvfb did not start within 10 s";
  EnvironmentKeeper keepBackend(kUiBackendVariable);
  EnvironmentKeeper keepDisplay("DISPLAY");
  EnvironmentKeeper keepHelper(platform::kFormHelperVariable);
  unsetenv(kUiBackendVariable);
  setenv("DISPLAY", server->Name().c_str(), 1);
  setenv(platform::kFormHelperVariable, VITRELLA_BIN_DIR "/VitrellaFormHelper", 1);
  platform::ResetFormScript();
  platform::ResetUiScript();
  testing::TempConfig config;

  const platform::ModuleHandle library =
      platform::LoadModule(u"" VITRELLA_BIN_DIR "/Vitrella3OpenGL64.so");
  ASSERT_NE(library, nullptr);
  CSharedServices services;
  ASSERT_TRUE(services.Initialise(library, nullptr, nullptr));
  // The knobs and overscan rows hidden: key frames and the forced CPU pair move up.
  services.SetDialogOptions(kOptionKnobs | kOptionCropOverscan, true);
  const Form layout = options::LayOutOptions(services.DialogOptions());
  auto closed = std::async(std::launch::async,
                           [&services] { return services.ShowOptions(nullptr, nullptr); });
  // Should a check fail with the dialog still open, the display goes away, which ends the
  // helper and with it the dialog, so that the test ends too.
  struct Unblock {
    std::future<int32_t>& closed;
    std::unique_ptr<Xvfb>& server;
    ~Unblock() {
      if (closed.valid() && closed.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        server.reset();
    }
  } unblock{closed, server};

  Display* display = XOpenDisplay(server->Name().c_str());
  ASSERT_NE(display, nullptr);
  // A window that goes while the test looks at it is no reason to end the test program.
  const XErrorHandler previousHandler = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
  const Window window = AwaitForm(display, options::kOptionsTemplate, true);
  ASSERT_NE(window, 0u) << "the helper drew no options dialog within 10 s";
  XWindowAttributes attributes{};
  XGetWindowAttributes(display, window, &attributes);
  EXPECT_EQ(attributes.width, layout.width);
  EXPECT_EQ(attributes.height, layout.height);
  XImage* shot = XGetImage(display, window, 0, 0, static_cast<unsigned>(layout.width),
                           static_cast<unsigned>(layout.height), AllPlanes, ZPixmap);
  ASSERT_NE(shot, nullptr);
  XColor face{};
  face.red = static_cast<unsigned short>((formhelper::kFace >> 16 & 0xFF) * 257);
  face.green = static_cast<unsigned short>((formhelper::kFace >> 8 & 0xFF) * 257);
  face.blue = static_cast<unsigned short>((formhelper::kFace & 0xFF) * 257);
  XAllocColor(display, DefaultColormap(display, DefaultScreen(display)), &face);
  const auto isFace = [&](int x, int y) { return XGetPixel(shot, x, y) == face.pixel; };
  // For a person to look at: the screenshot as a PPM file.
  if (const char* path = std::getenv("VITRELLA_FORM_SCREENSHOT")) {
    std::ofstream file(path, std::ios::binary);
    file << "P6\n" << layout.width << " " << layout.height << "\n255\n";
    for (int y = 0; y < layout.height; ++y) {
      for (int x = 0; x < layout.width; ++x) {
        const unsigned long pixel = XGetPixel(shot, x, y);
        file << static_cast<char>(pixel >> 16 & 0xFF) << static_cast<char>(pixel >> 8 & 0xFF)
             << static_cast<char>(pixel & 0xFF);
      }
    }
  }

  // The rows by the arithmetic: stacked at a pitch of 24 from the first row's 136.
  const int32_t checks[] = {options::kKeyFrames, options::kForcedCpuCollection,
                            options::kForcedCpuAll};
  for (size_t row = 0; row < std::size(checks); ++row) {
    const FormControl& check = *layout.Find(checks[row]);
    SCOPED_TRACE("check box " + std::to_string(check.id));
    ASSERT_EQ(check.y, 136 + 24 * static_cast<int32_t>(row));
    const int top = check.y + (check.height - formhelper::kCheckSize) / 2;
    EXPECT_TRUE(isFace(check.x + 6, top - 1));
    EXPECT_FALSE(isFace(check.x + 6, top));  // the square's frame
    EXPECT_FALSE(isFace(check.x + formhelper::kCheckSize - 3, top + formhelper::kCheckSize - 3));
    // Its label's ink lies on the row.
    bool ink = false;
    for (int y = check.y; y < check.y + check.height; ++y) {
      for (int x = check.x + formhelper::kCheckSize + formhelper::kCheckGap;
           x < check.x + check.width; ++x)
        ink = ink || !isFace(x, y);
    }
    EXPECT_TRUE(ink);
  }
  // The buttons below the group moved up by what the hidden rows gave.
  for (const int32_t id : {options::kCheckForUpdate, options::kOkButton, options::kCancelButton,
                           options::kHelpButton}) {
    const FormControl& button = *layout.Find(id);
    EXPECT_TRUE(isFace(button.x + 4, button.y - 1)) << id;
    EXPECT_FALSE(isFace(button.x + 4, button.y)) << id;  // its bevel's top edge
  }
  EXPECT_EQ(layout.Find(options::kOkButton)->y, 311 - 2 * 16);
  EXPECT_FALSE(layout.Find(options::kKnobs)->visible);
  EXPECT_FALSE(layout.Find(options::kCropOverscan)->visible);
  // The logo's picture, not the dialog's face, at the middle of its button.
  const FormControl& logo = *layout.Find(options::kLogo);
  EXPECT_FALSE(isFace(logo.x + logo.width / 2, logo.y + logo.height / 2));

  // Hidden rows leave no pixels: outside the visible controls, and inside the group away
  // from its frame and heading, all is face.
  const FormControl& group = *layout.Find(options::kOptionsGroup);
  const auto inside = [](const FormControl& c, int x, int y) {
    return x >= c.x && x < c.x + c.width && y >= c.y && y < c.y + c.height;
  };
  int stray = 0;
  for (int y = 0; y < layout.height; ++y) {
    for (int x = 0; x < layout.width; ++x) {
      bool drawn = false;
      for (const FormControl& c : layout.controls) {
        if (!c.visible) continue;
        if (c.id == options::kOptionsGroup) {
          drawn = drawn || (inside(c, x, y) && (y < c.y + 16 || x < c.x + 2 ||
                                                x >= c.x + c.width - 2 || y >= c.y + c.height - 2));
        } else {
          drawn = drawn || inside(c, x, y);
        }
      }
      if (!drawn && !isFace(x, y)) ++stray;
    }
  }
  EXPECT_EQ(stray, 0);
  EXPECT_TRUE(group.visible);
  XDestroyImage(shot);

  // The user ticks Forced CPU for this collection and presses OK.
  const FormControl& forced = *layout.Find(options::kForcedCpuCollection);
  Click(display, window, forced.x + 6, forced.y + forced.height / 2);
  const FormControl& ok = *layout.Find(options::kOkButton);
  Click(display, window, ok.x + ok.width / 2, ok.y + ok.height / 2);
  if (closed.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
    ADD_FAILURE() << "the dialog did not close on OK";
    server.reset();
  }
  EXPECT_EQ(closed.get(), 1);
  EXPECT_EQ(
      platform::ReadSetting(CSharedServices::CollectionSection().SafeData(), "Forced CPU").text,
      "yes");
  EXPECT_TRUE(platform::ShownForms().back().desktop);

  // Opened again, Escape cancels: nothing is stored.
  ASSERT_EQ(AwaitForm(display, options::kOptionsTemplate, false), 0u);
  const std::string before = testing::TempConfig::ReadFile(config.UserFile());
  closed = std::async(std::launch::async,
                      [&services] { return services.ShowOptions(nullptr, nullptr); });
  const Window again = AwaitForm(display, options::kOptionsTemplate, true);
  ASSERT_NE(again, 0u);
  Click(display, again, forced.x + 6, forced.y + forced.height / 2);
  PressKey(display, again, XK_Escape);
  if (closed.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
    ADD_FAILURE() << "the dialog did not close on Escape";
    server.reset();
  }
  EXPECT_EQ(closed.get(), 0);
  EXPECT_TRUE(platform::ShownForms().back().desktop);
  EXPECT_EQ(testing::TempConfig::ReadFile(config.UserFile()), before);
  XSetErrorHandler(previousHandler);
  XCloseDisplay(display);
  platform::FreeModule(library);
}

}  // namespace
}  // namespace vitrella
