// VitrellaFormHelper: draws one form of the library on an X display with plain Xlib and
// reports what the user does, in the line protocol of platform/form_protocol.h on its
// standard input and output. It runs as a process of its own so that the host's process
// never loads a GUI toolkit.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/form_protocol.h"
#include "platform/text.h"
#include "tools/formhelper/look.h"

namespace vitrella::formhelper {
namespace {

namespace protocol = platform::form_protocol;
using platform::ControlKind;
using platform::Form;
using platform::FormControl;

// The standard output; a library that went away ends the helper.
void Say(const std::string& line) {
  size_t sent = 0;
  while (sent < line.size()) {
    const ssize_t wrote = write(STDOUT_FILENO, line.data() + sent, line.size() - sent);
    if (wrote <= 0) std::_Exit(0);
    sent += static_cast<size_t>(wrote);
  }
}

// Lines of the standard input; none at its end.
class Input {
 public:
  // Reads what is there without blocking beyond one read; false at the end of input.
  bool Fill() {
    char buffer[65536];
    const ssize_t got = read(STDIN_FILENO, buffer, sizeof(buffer));
    if (got <= 0) return false;
    pending_.append(buffer, static_cast<size_t>(got));
    return true;
  }
  bool Next(std::string& line) {
    const size_t end = pending_.find('\n');
    if (end == std::string::npos) return false;
    line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return true;
  }

 private:
  std::string pending_;
};

// The core fonts speak Latin-1; what lies beyond shows as a question mark.
std::string Latin1(const std::u16string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char16_t c : text) {
    if (c == u'\r') continue;
    out += c < 0x100 ? static_cast<char>(c) : '?';
  }
  return out;
}

class Window {
 public:
  Window(Display* display, Form form) : display_(display), form_(std::move(form)) {}
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  bool Open();
  // Handles one event; false once the form is done.
  void Handle(const XEvent& event);
  // The library's answer to a command.
  bool Answer(const std::string& line);
  void Close() {
    if (canvas_ != 0) XFreePixmap(display_, canvas_);
    if (window_ != 0) XDestroyWindow(display_, window_);
    canvas_ = 0;
    if (font_ != nullptr && ownFont_) XFreeFont(display_, font_);
    if (font_ != nullptr && !ownFont_) XFreeFontInfo(nullptr, font_, 0);
    if (gc_ != nullptr) XFreeGC(display_, gc_);
    window_ = 0;
    font_ = nullptr;
    gc_ = nullptr;
  }

 private:
  unsigned long Colour(uint32_t rgb);
  void Draw();
  void Show();
  void DrawControl(const FormControl& control);
  enum class Align { kTopLeft, kMiddleLeft, kCentre };
  void DrawText(const std::u16string& text, int x, int y, int width, int height, Align align);
  void DrawBitmap(const FormControl& control, const platform::Bitmap& bitmap);
  void Bevel(int x, int y, int width, int height, bool raised);
  const FormControl* Hit(int x, int y) const;
  void Press(const FormControl& control);
  int32_t DefaultButton() const;

  Display* display_;
  Form form_;
  ::Window window_ = 0;
  // The form is drawn here and copied to the window whole, so that the screen never shows
  // a form half drawn.
  Pixmap canvas_ = 0;
  GC gc_ = nullptr;
  XFontStruct* font_ = nullptr;
  bool ownFont_ = false;  // loaded here, rather than the server's default font
  Atom deleteWindow_ = 0;
  std::map<uint32_t, unsigned long> colours_;  // allocated once each
  int32_t pressed_ = 0;                        // the control under a held mouse button
  bool awaitingAnswer_ = false;                // a command is with the library: no input meanwhile
};

unsigned long Window::Colour(uint32_t rgb) {
  if (const auto known = colours_.find(rgb); known != colours_.end()) return known->second;
  XColor colour{};
  colour.red = static_cast<unsigned short>((rgb >> 16 & 0xFF) * 257);
  colour.green = static_cast<unsigned short>((rgb >> 8 & 0xFF) * 257);
  colour.blue = static_cast<unsigned short>((rgb & 0xFF) * 257);
  colour.flags = DoRed | DoGreen | DoBlue;
  const int screen = DefaultScreen(display_);
  if (XAllocColor(display_, DefaultColormap(display_, screen), &colour) == 0) {
    colour.pixel = rgb > 0x7FFFFF ? WhitePixel(display_, screen) : BlackPixel(display_, screen);
  }
  colours_[rgb] = colour.pixel;
  return colour.pixel;
}

bool Window::Open() {
  const int screen = DefaultScreen(display_);
  if (form_.width <= 0 || form_.height <= 0) return false;
  window_ = XCreateSimpleWindow(
      display_, RootWindow(display_, screen), 0, 0, static_cast<unsigned>(form_.width),
      static_cast<unsigned>(form_.height), 0, Colour(kInk), Colour(kFace));
  if (window_ == 0) return false;
  XSizeHints* hints = XAllocSizeHints();
  if (hints != nullptr) {
    hints->flags = PMinSize | PMaxSize;
    hints->min_width = hints->max_width = form_.width;
    hints->min_height = hints->max_height = form_.height;
    XSetWMNormalHints(display_, window_, hints);
    XFree(hints);
  }
  const std::string title = Latin1(form_.title);
  XStoreName(display_, window_, title.c_str());
  const std::string utf8 = platform::WideToUtf8(form_.title);
  XChangeProperty(display_, window_, XInternAtom(display_, "_NET_WM_NAME", False),
                  XInternAtom(display_, "UTF8_STRING", False), 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(utf8.data()),
                  static_cast<int>(utf8.size()));
  deleteWindow_ = XInternAtom(display_, "WM_DELETE_WINDOW", False);
  XSetWMProtocols(display_, window_, &deleteWindow_, 1);
  XSelectInput(
      display_, window_,
      ExposureMask | ButtonPressMask | ButtonReleaseMask | KeyPressMask | StructureNotifyMask);
  canvas_ = XCreatePixmap(display_, window_, static_cast<unsigned>(form_.width),
                          static_cast<unsigned>(form_.height),
                          static_cast<unsigned>(DefaultDepth(display_, screen)));
  if (canvas_ == 0) return false;
  gc_ = XCreateGC(display_, window_, 0, nullptr);
  font_ = XLoadQueryFont(display_, "fixed");
  ownFont_ = font_ != nullptr;
  if (font_ == nullptr) font_ = XQueryFont(display_, XGContextFromGC(gc_));
  if (font_ == nullptr) return false;
  XSetFont(display_, gc_, font_->fid);

  XMapRaised(display_, window_);
  XEvent event;
  do {
    XWindowEvent(display_, window_, StructureNotifyMask, &event);
  } while (event.type != MapNotify);
  Draw();
  // The mark that the form stands drawn, for whoever looks at the screen.
  const long templateId = form_.templateId;
  XChangeProperty(display_, window_, XInternAtom(display_, kDrawnProperty, False), XA_CARDINAL, 32,
                  PropModeReplace, reinterpret_cast<const unsigned char*>(&templateId), 1);
  XSync(display_, False);
  return true;
}

void Window::Bevel(int x, int y, int width, int height, bool raised) {
  const int right = x + width - 1;
  const int bottom = y + height - 1;
  XSetForeground(display_, gc_, Colour(raised ? kWhite : kShadow));
  XDrawLine(display_, canvas_, gc_, x, y, right, y);
  XDrawLine(display_, canvas_, gc_, x, y, x, bottom);
  XSetForeground(display_, gc_, Colour(raised ? kInk : kWhite));
  XDrawLine(display_, canvas_, gc_, x, bottom, right, bottom);
  XDrawLine(display_, canvas_, gc_, right, y, right, bottom);
}

// Lines broken at line feeds and, where they would run past the width, at blanks; a
// control one line high is cut at its right edge instead, which keeps the line readable.
void Window::DrawText(const std::u16string& text, int x, int y, int width, int height,
                      Align align) {
  const std::string all = Latin1(text);
  const int lineHeight = font_->ascent + font_->descent;
  const bool wrap = height >= 2 * lineHeight;
  std::vector<std::string> lines;
  size_t start = 0;
  while (start <= all.size()) {
    size_t end = all.find('\n', start);
    if (end == std::string::npos) end = all.size();
    std::string rest = all.substr(start, end - start);
    while (wrap && XTextWidth(font_, rest.c_str(), static_cast<int>(rest.size())) > width) {
      size_t cut = rest.size();
      while (cut > 0 && (rest[cut - 1] != ' ' ||
                         XTextWidth(font_, rest.c_str(), static_cast<int>(cut)) > width))
        --cut;
      if (cut == 0) break;  // one long word: clipped
      lines.push_back(rest.substr(0, cut - 1));
      rest.erase(0, cut);
    }
    lines.push_back(rest);
    start = end + 1;
  }
  int top =
      align == Align::kTopLeft ? y : y + (height - lineHeight * static_cast<int>(lines.size())) / 2;
  XSetForeground(display_, gc_, Colour(kInk));
  for (const std::string& line : lines) {
    if (top >= y + height) break;
    const int length = static_cast<int>(line.size());
    const int left =
        align == Align::kCentre ? x + (width - XTextWidth(font_, line.c_str(), length)) / 2 : x;
    XDrawString(display_, canvas_, gc_, left, top + font_->ascent, line.c_str(), length);
    top += lineHeight;
  }
}

void Window::DrawBitmap(const FormControl& control, const platform::Bitmap& bitmap) {
  Visual* visual = DefaultVisual(display_, DefaultScreen(display_));
  const int depth = DefaultDepth(display_, DefaultScreen(display_));
  if (visual->c_class != TrueColor || depth < 15) return;
  auto* data = static_cast<char*>(
      std::calloc(static_cast<size_t>(bitmap.width) * static_cast<size_t>(bitmap.height), 4));
  if (data == nullptr) return;
  XImage* image = XCreateImage(display_, visual, static_cast<unsigned>(depth), ZPixmap, 0, data,
                               static_cast<unsigned>(bitmap.width),
                               static_cast<unsigned>(bitmap.height), 32, 0);
  if (image == nullptr) {
    std::free(data);
    return;
  }
  // A component of 8 bits placed by the visual's mask.
  const auto place = [](uint32_t value, unsigned long mask) {
    int shift = 0;
    while (mask != 0 && (mask & 1) == 0) {
      mask >>= 1;
      ++shift;
    }
    int bits = 0;
    while ((mask >> bits & 1) != 0)
      ++bits;
    return static_cast<unsigned long>(bits >= 8 ? value << (bits - 8) : value >> (8 - bits))
           << shift;
  };
  for (int row = 0; row < bitmap.height; ++row) {
    for (int column = 0; column < bitmap.width; ++column) {
      const uint32_t rgb = bitmap.pixels[static_cast<size_t>(row) * bitmap.width + column];
      XPutPixel(image, column, row,
                place(rgb >> 16 & 0xFF, visual->red_mask) |
                    place(rgb >> 8 & 0xFF, visual->green_mask) |
                    place(rgb & 0xFF, visual->blue_mask));
    }
  }
  const int left = control.x + (control.width - bitmap.width) / 2;
  const int top = control.y + (control.height - bitmap.height) / 2;
  XPutImage(display_, canvas_, gc_, image, 0, 0, left, top, static_cast<unsigned>(bitmap.width),
            static_cast<unsigned>(bitmap.height));
  XDestroyImage(image);
}

void Window::DrawControl(const FormControl& c) {
  // Nothing of a control reaches beyond its rectangle.
  XRectangle clip{static_cast<short>(c.x), static_cast<short>(c.y),
                  static_cast<unsigned short>(c.width), static_cast<unsigned short>(c.height)};
  XSetClipRectangles(display_, gc_, 0, 0, &clip, 1, Unsorted);
  const bool pressed = pressed_ == c.id;
  switch (c.kind) {
    case ControlKind::kLabel:
    case ControlKind::kText:
      DrawText(c.text, c.x, c.y, c.width, c.height, Align::kTopLeft);
      break;
    case ControlKind::kCheckBox: {
      const int top = c.y + (c.height - kCheckSize) / 2;
      XSetForeground(display_, gc_, Colour(kWhite));
      XFillRectangle(display_, canvas_, gc_, c.x, top, kCheckSize, kCheckSize);
      XSetForeground(display_, gc_, Colour(kInk));
      XDrawRectangle(display_, canvas_, gc_, c.x, top, kCheckSize - 1, kCheckSize - 1);
      if (c.checked) {
        XPoint tick[] = {{static_cast<short>(c.x + 3), static_cast<short>(top + 6)},
                         {static_cast<short>(c.x + 5), static_cast<short>(top + 9)},
                         {static_cast<short>(c.x + 10), static_cast<short>(top + 3)}};
        XSetLineAttributes(display_, gc_, 2, LineSolid, CapButt, JoinMiter);
        XDrawLines(display_, canvas_, gc_, tick, 3, CoordModeOrigin);
        XSetLineAttributes(display_, gc_, 0, LineSolid, CapButt, JoinMiter);
      }
      const int textLeft = c.x + kCheckSize + kCheckGap;
      DrawText(c.text, textLeft, c.y, c.width - (textLeft - c.x), c.height, Align::kMiddleLeft);
      break;
    }
    case ControlKind::kButton:
      Bevel(c.x, c.y, c.width, c.height, !pressed);
      if (c.id == DefaultButton()) {
        XSetForeground(display_, gc_, Colour(kInk));
        XDrawRectangle(display_, canvas_, gc_, c.x + 2, c.y + 2, c.width - 5, c.height - 5);
      }
      DrawText(c.text, c.x + (pressed ? 1 : 0), c.y + (pressed ? 1 : 0), c.width, c.height,
               Align::kCentre);
      break;
    case ControlKind::kGroup: {
      const int line = c.y + (font_->ascent + font_->descent) / 2;
      XSetForeground(display_, gc_, Colour(kShadow));
      XDrawRectangle(display_, canvas_, gc_, c.x, line, c.width - 2, c.height - (line - c.y) - 2);
      XSetForeground(display_, gc_, Colour(kWhite));
      XDrawRectangle(display_, canvas_, gc_, c.x + 1, line + 1, c.width - 2,
                     c.height - (line - c.y) - 2);
      const std::string heading = Latin1(c.text);
      if (!heading.empty()) {
        const int width = XTextWidth(font_, heading.c_str(), static_cast<int>(heading.size())) + 4;
        XSetForeground(display_, gc_, Colour(kFace));
        XFillRectangle(display_, canvas_, gc_, c.x + 6, c.y, static_cast<unsigned>(width),
                       static_cast<unsigned>(font_->ascent + font_->descent));
        DrawText(c.text, c.x + 8, c.y, width, c.height, Align::kTopLeft);
      }
      break;
    }
    case ControlKind::kBitmapButton: {
      const auto bitmap = form_.bitmaps.find(c.id);
      if (bitmap != form_.bitmaps.end() && bitmap->second != nullptr) {
        DrawBitmap(c, *bitmap->second);
      } else {
        Bevel(c.x, c.y, c.width, c.height, !pressed);
      }
      break;
    }
  }
  XSetClipMask(display_, gc_, None);
}

void Window::Draw() {
  XSetForeground(display_, gc_, Colour(kFace));
  XFillRectangle(display_, canvas_, gc_, 0, 0, static_cast<unsigned>(form_.width),
                 static_cast<unsigned>(form_.height));
  // Groups first, so that what stands in them is drawn over their frames.
  for (const FormControl& control : form_.controls) {
    if (control.kind == ControlKind::kGroup) DrawControl(control);
  }
  for (const FormControl& control : form_.controls) {
    if (control.kind != ControlKind::kGroup) DrawControl(control);
  }
  Show();
}

void Window::Show() {
  XCopyArea(display_, canvas_, window_, gc_, 0, 0, static_cast<unsigned>(form_.width),
            static_cast<unsigned>(form_.height), 0, 0);
  XFlush(display_);
}

const FormControl* Window::Hit(int x, int y) const {
  for (const FormControl& c : form_.controls) {
    const bool active = c.kind == ControlKind::kCheckBox || c.kind == ControlKind::kButton ||
                        c.kind == ControlKind::kBitmapButton;
    if (active && x >= c.x && x < c.x + c.width && y >= c.y && y < c.y + c.height) return &c;
  }
  return nullptr;
}

int32_t Window::DefaultButton() const {
  for (const FormControl& c : form_.controls) {
    if (c.id == form_.focus && c.kind == ControlKind::kButton) return c.id;
  }
  for (const FormControl& c : form_.controls) {
    if (c.id == 1 && c.kind == ControlKind::kButton) return c.id;
  }
  return 0;
}

void Window::Press(const FormControl& control) {
  if (control.kind == ControlKind::kCheckBox) {
    for (FormControl& c : form_.controls) {
      if (c.id == control.id) c.checked = !c.checked;
    }
    Say(protocol::CheckLine(control.id, control.checked));
    Draw();
    return;
  }
  awaitingAnswer_ = true;
  Say(protocol::CommandLine(control.id));
}

void Window::Handle(const XEvent& event) {
  switch (event.type) {
    case Expose:
      if (event.xexpose.count == 0) Show();
      break;
    case ButtonPress:
      if (awaitingAnswer_ || event.xbutton.button != Button1) break;
      if (const FormControl* control = Hit(event.xbutton.x, event.xbutton.y)) {
        pressed_ = control->id;
        Draw();
      }
      break;
    case ButtonRelease: {
      if (awaitingAnswer_ || event.xbutton.button != Button1 || pressed_ == 0) break;
      const FormControl* control = Hit(event.xbutton.x, event.xbutton.y);
      const int32_t was = pressed_;
      pressed_ = 0;
      Draw();
      if (control != nullptr && control->id == was) Press(*control);
      break;
    }
    case KeyPress: {
      if (awaitingAnswer_) break;
      const KeySym key = XLookupKeysym(const_cast<XKeyEvent*>(&event.xkey), 0);
      if (key == XK_Return || key == XK_KP_Enter) {
        if (const int32_t id = DefaultButton(); id != 0) {
          awaitingAnswer_ = true;
          Say(protocol::CommandLine(id));
        }
      } else if (key == XK_Escape) {
        awaitingAnswer_ = true;
        Say(protocol::CommandLine(platform::kFormCancel));
      }
      break;
    }
    case ClientMessage:
      if (!awaitingAnswer_ && static_cast<Atom>(event.xclient.data.l[0]) == deleteWindow_) {
        awaitingAnswer_ = true;
        Say(protocol::CommandLine(platform::kFormCancel));
      }
      break;
    default:
      break;
  }
}

bool Window::Answer(const std::string& line) {
  if (line == protocol::kClose) return false;
  if (line == protocol::kStay) awaitingAnswer_ = false;
  return true;
}

int Run() {
  Input input;
  protocol::FormReader reader;
  std::string line;
  while (!reader.Finished()) {
    if (input.Next(line)) {
      reader.Add(line);
    } else if (!input.Fill()) {
      return 1;  // the library went away before the form was complete
    }
  }
  Display* display = XOpenDisplay(nullptr);
  if (display == nullptr) {
    Say(std::string(protocol::kFailed) + " display\n");
    return 1;
  }
  Window window(display, std::move(reader.Result()));
  if (!window.Open()) {
    Say(std::string(protocol::kFailed) + " window\n");
    window.Close();
    XCloseDisplay(display);
    return 1;
  }
  Say(std::string(protocol::kShown) + "\n");

  bool open = true;
  while (open) {
    while (open && XPending(display) > 0) {
      XEvent event;
      XNextEvent(display, &event);
      window.Handle(event);
    }
    pollfd watch[2] = {{ConnectionNumber(display), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(watch, 2, -1) < 0) continue;
    if ((watch[0].revents & (POLLERR | POLLHUP)) != 0) break;  // the display went away
    if (watch[1].revents != 0) {
      if (!input.Fill()) break;  // the library closed the form
      while (open && input.Next(line))
        open = window.Answer(line);
    }
  }
  window.Close();
  XCloseDisplay(display);
  return 0;
}

}  // namespace
}  // namespace vitrella::formhelper

int main() {
  // A library that went away is told by a failed write, not by a signal.
  std::signal(SIGPIPE, SIG_IGN);
  return vitrella::formhelper::Run();
}
