#include "Summary.h"

#include <cmath>

namespace lxfx {

namespace {

std::string Db(double value)
{
    if (!std::isfinite(value))
        return "  -inf";
    char text[32];
    std::snprintf(text, sizeof text, "%6.2f", value);
    return text;
}

}  // namespace

void PrintSummary(std::FILE* out, const std::string& inName, const std::string& outName,
                  const StreamFormat& format, const HostLoopResult& result)
{
    const double rate = format.sampleRate;
    const double inSeconds = double(result.in.Frames()) / rate;
    const double outSeconds = double(result.out.Frames()) / rate;
    std::fprintf(out, "format  %u Hz, %u channel%s, %s\n", format.sampleRate, format.channels,
                 format.channels == 1 ? "" : "s", SampleFormatName(format.sampleFormat));
    std::fprintf(out, "in      %9.3f s  %10llu frames  peak %s dBFS  RMS %s dBFS  %s\n", inSeconds,
                 static_cast<unsigned long long>(result.in.Frames()),
                 Db(result.in.PeakDbfs()).c_str(), Db(result.in.RmsDbfs()).c_str(),
                 inName.c_str());
    std::fprintf(out, "out     %9.3f s  %10llu frames  peak %s dBFS  RMS %s dBFS  %s\n", outSeconds,
                 static_cast<unsigned long long>(result.out.Frames()),
                 Db(result.out.PeakDbfs()).c_str(), Db(result.out.RmsDbfs()).c_str(),
                 outName.c_str());
    if (result.libraryTimeS > 0.0)
        std::fprintf(out, "speed   %.0fx real time (%.3f s of CPU time in the library)\n",
                     inSeconds / result.libraryTimeS, result.libraryTimeS);
}

}  // namespace lxfx
