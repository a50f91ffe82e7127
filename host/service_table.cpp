#include "host/service_table.h"

#include "host/clock.h"
#include "host/loader.h"
#include "host/option_store.h"
#include "host/pools.h"
#include "host/threads.h"

namespace qzhost {

QzHostTable* hostTable() {
  static QzHostTable table = [] {
    QzHostTable made{};
    made.createEvent = createEvent;
    made.createLock = createLock;
    made.createPool = createPool;
    made.loadExtension = loadExtension;
    made.startThread = startThread;
    made.currentThread = currentThread;
    made.optionExists = optionExists;
    made.getOption = getOption;
    made.clock = readClock;
    return made;
  }();
  return &table;
}

}  // namespace qzhost
