#pragma once

// GNUstep's headers look for blocks under this name, which is that of another runtime's.
#include <Block.h>
