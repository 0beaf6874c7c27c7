#pragma once

/// The common road of the conversions between UTF-8 and UTF-16: well-formed text away from the ends of its buffers.
namespace norq_std_internal {

/// What is left of a source or a target. Conversions move `at`.
template <class Unit>
struct Remaining {
    Unit*& at;
    Unit* end;
};

/// Convert characters while they are well-formed and there is room to read and write a few units more than they use;
/// what lies behind the converted text in the target may be overwritten. They stop where single steps must decide: near
/// an end, or before a character that is not well-formed. They may also stop earlier, but never without need at the
/// start of a long text.
void decodeRuns(Remaining<const unsigned char> source, Remaining<char16_t> target);
void encodeRuns(Remaining<const char16_t> source, Remaining<unsigned char> target);

} // namespace norq_std_internal
