#pragma once

#include <memory>
#include <string>
#include <utility>

#include "app/commands/command_table.h"
#include "app/workbench.h"

namespace marvik {

// `make` works something out, off the window's thread where there is one, and touches nothing that others change;
// `take` gets it in the window's thread unless newer work of that name came up or the user stopped it. `name` says what
// is being done: "The voids are being looked for".
template <class Make, class Take>
Outcome DoBeside(Workbench& bench, const std::string& name, Make make, Take take) {
  if (!bench.hooks.inBackground) {
    bench.SetBusy(true);
    auto made = make();
    bench.SetBusy(false);
    return take(std::move(made));
  }
  bench.hooks.inBackground(name, [make, take]() -> std::function<void()> {
    auto made = std::make_shared<decltype(make())>(make());
    return [made, take] { take(std::move(*made)); };
  });
  return Outcome::Done;
}

}  // namespace marvik
