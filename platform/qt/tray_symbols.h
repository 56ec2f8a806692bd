#pragma once

#include <string_view>

#include "platform/tray_icon.h"

namespace tovalin {

// The tray's symbols, compiled in from packaging/icons/tray, where each is drawn for a few sizes;
// any other size is scaled from the one that stays crispest. An IconPainter. A name that there is
// no drawing for gives a picture of size 0, as does a size below 1. Needs no application object.
// Any thread.
IconPicture drawTraySymbol(std::string_view symbol, int size);

}  // namespace tovalin
