// A program that embeds TolmarUtil through its installed package.
#include <TolmarUtil.h>

#include <cstdio>

int main()
{
    float const one = Tolmar::ibm_bits_to_float(0x41100000u); // IBM 1.0
    Tolmar::SEGYcube cube(4000, 0);
    Tolmar::SEGYtrace trace(1, 0, 10, 20, 1.0f, 2.0f, 0.0, 3);
    trace.addSample(one);
    cube.addTrace(trace);
    cube.setBbox();
    std::printf("consumer ok %g %d\n", static_cast<double>(one), cube.inlineStart());
    return one == 1.0f && cube.inlineStart() == 10 ? 0 : 1;
}
