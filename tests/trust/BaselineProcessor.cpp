// A program with this file and the library's own objects runs the library as a processor without wider vectors does: the
// dispatch of the vector clones reads these, which otherwise come out of the compiler's runtime library and ask the
// processor. That way the baseline kernels are tested as they are shipped, without a second build of the library.

extern "C" {

struct Processor {
    unsigned vendor, type, subtype, features;
};

extern Processor __cpu_model;
extern unsigned __cpu_features2[8];
int __cpu_indicator_init();

Processor __cpu_model{};
unsigned __cpu_features2[8]{};

int __cpu_indicator_init()
{
    return 0;
}
}
