#pragma once

// The packaged library is built with its debug checks on, and members of its classes exist only
// then (RTC_DCHECK_IS_ON). Code that sees its headers without the checks has other class layouts
// and corrupts the heap at the first peer connection. Included by every header of this folder, and
// before any header of the library.
#ifdef NDEBUG
#error "NDEBUG must not be defined: the media library's class layouts depend on it"
#endif
