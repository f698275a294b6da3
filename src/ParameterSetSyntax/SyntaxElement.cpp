#include "SyntaxElement.h"

namespace h265_syntax {

std::string Element::nameWithIndices() const
{
    std::string text = pName;
    for (const unsigned uiIndex : indices())
        text.append("[").append(std::to_string(uiIndex)).append("]");
    return text;
}

std::string Element::descriptor() const
{
    switch (eDescriptor) {
    case EDescriptor::ue:
        return "ue(v)";
    case EDescriptor::se:
        return "se(v)";
    default:
        return "u(" + std::to_string(uiBits) + ")";
    }
}

std::string Stop::message() const
{
    switch (eStop) {
    case EStop::none:
        return "nothing stopped it";
    case EStop::payloadEnds:
        return "the payload ends in or before " + element;
    case EStop::codeTooLong:
        return element + " is a code of more than 32 bits of value";
    case EStop::countTooLarge:
        return element + " is " + std::to_string(iValue) + ", more than any set may have";
    case EStop::widthTooLarge:
        return element + " would be longer than any element may be";
    case EStop::noContext:
        return element + " cannot be read without the parameter set that this one refers to";
    case EStop::doesNotFit:
        return element + " is " + std::to_string(iValue) + ", which its descriptor cannot code";
    case EStop::missing:
        return element + " has fewer entries than the set's counts say";
    }
    return {};
}

} // namespace h265_syntax
