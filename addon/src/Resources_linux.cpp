// Resources_linux.cpp: the module's resources: string list 32000 (name, description) and the
// identification 32500 the host reads for itself.
#include "hostkit/ResourceNote.h"

ORV_RESOURCE_NOTE(ORV_RESOURCE_STRING(32000, 1, "OrvUpdate Brennerstein")
                      ORV_RESOURCE_STRING(32000, 2, "Automatická kontorla aktualizací knihoven GDL")
                          ORV_RESOURCE_STRING(32500, 1, "Brennerstein OrvUpdate 1.0"))
