/* Sets a value, closes the store, and finds the value in the file. */
#include <orv/orv.h>

#include <stdio.h>

int main(int argc, char** argv) {
    const char* const key = "a key text of which 32 bytes count";
    char name[32];
    int size = sizeof name - 1;

    if (argc != 2 || ORV_open(argv[1], key) != ORV_OPEN_NEW)
        return 1;
    ORVSC_SetString("user", "name", "Ada");
    ORVSC_SetInt("window", "width", 800);
    ORV_close();
    if (ORV_open(argv[1], key) != ORV_OPEN_LOADED)
        return 2;
    ORVSC_GetString("user", "name", name, &size, "nobody");
    printf("orv %s: %s, %d\n", ORV_VERSION_STRING, name, ORVSC_GetInt("window", "width", 0));
    ORV_close();
    return 0;
}
