#pragma once

/// Stands in a public header's namespace: what the header declares there is exported by the shared library.
/// Everything else is hidden in it.
#define H265PS_EXPORT [[gnu::visibility("default")]]
