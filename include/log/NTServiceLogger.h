#pragma once

#include "base/Export.h"
#include "base/NorqLogger.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std {

/// The numbered messages of service hosting, by the code that stands in the log line.
///
/// SL1 and SL2 are ERROR, SL4 is INFO. The first argument of every method is the qualified name of the calling
/// function; the others fill the placeholders of the text from left to right. A null text is printed as "(null)".
/// Methods never throw for their arguments, and any thread may call them.
class NORQSTD_EXPORT NTServiceLogger : public NorqLogger {
public:
    /// The one object, which lives as long as the process.
    static NTServiceLogger& getInstance();

    WString getModuleName() const override;

    void SL1005(const WChar* function);
    void SL1006(const WChar* function, const WChar* name, std::int32_t code);
    void SL1007(const WChar* function, const WChar* name, std::int32_t code);
    void SL1008(const WChar* function);
    void SL1009(const WChar* function);
    void SL1010(const WChar* function);
    void SL2000(const WChar* function);
    void SL2001(const WChar* function);

    void SL4007(const WChar* function);
    void SL4008(const WChar* function);
    void SL4009(const WChar* function);
    void SL4010(const WChar* function);
    void SL4011(const WChar* function);
    void SL4012(const WChar* function);
    void SL4014(const WChar* function);
    void SL4015(const WChar* function);
    void SL4016(const WChar* function, const WChar* name, std::int32_t major, std::int32_t minor);
    void SL4017(const WChar* function, const WChar* word);
    void SL4018(const WChar* function, const WChar* name);
    void SL4019(const WChar* function, const WChar* name);
    void SL4020(const WChar* function, const WChar* name);
    void SL4021(const WChar* function, const WChar* name);
    void SL4022(const WChar* function);
    void SL4023(const WChar* function);
    void SL4024(const WChar* function);
    void SL4025(const WChar* function);
    void SL4026(const WChar* function);
    void SL4027(const WChar* function);
    void SL4028(const WChar* function);
    void SL4029(const WChar* function);
    void SL4031(const WChar* function);
    void SL4032(const WChar* function);
    void SL4033(const WChar* function);
    void SL4034(const WChar* function, const WChar* name, const WChar* product, const WChar* version,
                const WChar* priBuild, const WChar* specialBuild, const WChar* platform, const WChar* threshold);
    void SL4035(const WChar* function);
    void SL4036(const WChar* function, const WChar* name, const WChar* product, const WChar* version,
                const WChar* priBuild, const WChar* specialBuild);
    void SL4037(const WChar* function, const WChar* platform);
    void SL4038(const WChar* function, const WChar* threshold);

private:
    NTServiceLogger() = default;
};

} // namespace norq_std
