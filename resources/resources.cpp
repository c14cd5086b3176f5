// The resource module. The library loads it at start and tells the user once when it is
// missing; the dialogs' layouts are data of the library itself for now, so this module
// answers only which revision of the resources it holds.
#include "vitrella/base.h"

VITRELLA_EXPORT int VitrellaResourceRevision() {
  return 1;
}
