#include <orv/runtime/trace.h>
#include <stdio.h>

int main(void) {
    ORV_traceInit(0, 0);
    printf("%s %s\n", ORV_TraceAppName.text, ORV_TracePath.text);
    return PF_TraceInit != 1;
}
