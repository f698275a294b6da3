#pragma once

#include <functional>

#include "ContainerSink.h"
#include "RandomSource.h"

namespace h265_fuzz {

using ContainerReader = std::function<void(h265_container::CRandomSource&, const h265_container::ContainerOptions&,
                                           h265_container::CContainerSink&)>;

/// Whether a stream that can only be read forward gives all that a file gives.
enum class EForward
{
    Less,
    Same
};

/// Reads the case's bytes with the reader, as a file and as a stream that can only be read forward, and checks
/// what must hold of everything that is delivered. The first bytes of the case say how it is read.
void checkContainer(const unsigned char* pData, std::size_t uiSize, EForward eForward, const ContainerReader& read);

} // namespace h265_fuzz
