// A `qzsimpx` that does what the test says. Every call adds itself to `events`.
#pragma once

#include <functional>

#include "qzipsolve/simplex_module.h"
#include "shell/fake_engine.h"

namespace qztest {

struct FakeSimplex {
  bool makesObject = true;
  // What run does; without one it fails.
  std::function<int32_t(QzSimplexObject*, QzPresolveObject*, QzPresolveHandle*, LpRecord*)> onRun;

  QzModule module{};
  QzSimplexObject object{};

  FakeSimplex() {
    current() = this;
    module.create_instance = []() -> void* {
      events.push_back("make simplex");
      return current()->makesObject ? &current()->object : nullptr;
    };
    module.unload = [](QzModule*) { events.push_back("unload simplex"); };
    object.destroy = [](QzSimplexObject*) { events.push_back("destroy simplex"); };
    object.run = [](QzSimplexObject* self, QzPresolveObject* presolver, QzPresolveHandle* handle,
                    LpRecord* record) -> int32_t {
      events.push_back("run simplex");
      return current()->onRun ? current()->onRun(self, presolver, handle, record) : 10;
    };
  }
  ~FakeSimplex() { current() = nullptr; }

 private:
  static FakeSimplex*& current() {
    static FakeSimplex* fake = nullptr;
    return fake;
  }
};

}  // namespace qztest
