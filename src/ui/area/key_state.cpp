#include "ui/area/key_state.h"

#include <QGuiApplication>

#ifdef MARVIK_X11
#include <X11/Xlib.h>
#include <X11/keysym.h>
#endif

namespace marvik {

#ifdef MARVIK_X11

bool InterruptKeyDown() {
  const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  Display* display = x11 ? x11->display() : nullptr;
  if (!display) return false;
  char keys[32] = {};
  XQueryKeymap(display, keys);
  for (const KeySym symbol : {XK_Escape, XK_space}) {
    const unsigned code = XKeysymToKeycode(display, symbol);
    if (code && (keys[code / 8] >> (code % 8) & 1)) return true;
  }
  return false;
}

#else

bool InterruptKeyDown() {
  return false;
}

#endif

bool InterruptWatch::GoOn() {
  using std::chrono::milliseconds;
  const Clock::time_point now = Clock::now();
  const bool begins = now - asked_ > milliseconds(1000);
  asked_ = now;
  if (!begins && now - looked_ < milliseconds(50)) return true;
  looked_ = now;
  const bool down = InterruptKeyDown();
  heldBefore_ = down && (begins || heldBefore_);
  return !down || heldBefore_;
}

}  // namespace marvik
