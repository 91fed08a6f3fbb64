/* A host of the settings store, in C99: what an application does at its start, while it runs, and
 * at its end.
 *
 *     orv-host write FILE    opens the store, sets a few values, closes it
 *     orv-host watch FILE    opens the store, prints the values, and waits until another process
 *                            changes the width of the window
 *
 * The key text comes from the environment variable ORV_SETTINGS_KEY.
 */
#define _POSIX_C_SOURCE 200809L

#include <orv/orv.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static double seconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

static int open_store(const char* file) {
    const char* key = getenv("ORV_SETTINGS_KEY");
    switch (ORV_open(file, key)) {
    case ORV_OPEN_LOADED:
        printf("opened %s: the settings are loaded\n", file);
        return 1;
    case ORV_OPEN_NEW:
        printf("opened %s: there is no such file yet, the settings are empty\n", file);
        return 1;
    case ORV_OPEN_UNREADABLE:
        /* The store is open with what could be read, if anything, and would replace the file when
         * it is closed with a value changed. A host that will not lose the rest asks its user
         * first, or copies the file; this one just stops. */
        fprintf(stderr, "%s is not whole: is the key right, the folder there, the file ours?\n",
                file);
        ORV_close();
        return 0;
    default:
        fprintf(stderr, "refused: put a key text of 32 bytes or more into ORV_SETTINGS_KEY\n");
        return 0;
    }
}

static void set_int(const char* section, const char* key, int value) {
    ORVSC_SetInt(section, key, value);
    printf("  set %s / %s to the integer %d\n", section, key, value);
}

static void set_string(const char* section, const char* key, const char* value) {
    ORVSC_SetString(section, key, value);
    printf("  set %s / %s to \"%s\"\n", section, key, value);
}

static void show_int(const char* section, const char* key) {
    printf("  %s / %s is %d\n", section, key, ORVSC_GetInt(section, key, -1));
}

static void show_string(const char* section, const char* key) {
    int size = 0;
    char* text;
    ORVSC_GetString(section, key, NULL, &size, "(not set)"); /* how much room is needed? */
    text = malloc((size_t)size + 1);                         /* one byte more than the size */
    if (text == NULL)
        exit(EXIT_FAILURE);
    ORVSC_GetString(section, key, text, &size, "(not set)");
    printf("  %s / %s is \"%s\"\n", section, key, text);
    free(text);
}

static int write_settings(const char* file) {
    if (!open_store(file))
        return EXIT_FAILURE;
    set_int("window", "width", 800);
    set_int("window", "height", 600);
    set_string("user", "name", "Ada Lovelace");
    set_string("net/proxy", "host", "gateway.example"); /* a nested path */
    set_int("net/proxy", "port", 8080);
    ORV_close();
    printf("closed the store: the values are in the file\n");
    return EXIT_SUCCESS;
}

static int watch_settings(const char* file) {
    int before;
    double start;
    if (!open_store(file))
        return EXIT_FAILURE;
    show_int("window", "width");
    show_int("Window", "HEIGHT"); /* letter case does not matter */
    show_string("user", "name");
    show_string("net/proxy", "host");
    show_int("net", "proxy/port"); /* the same path, split elsewhere */
    show_string("user", "birthday");

    before = ORVSC_GetInt("window", "width", -1);
    start = seconds();
    printf("waiting for another process to change the width\n");
    fflush(stdout);
    while (ORVSC_GetInt("window", "width", -1) == before && seconds() - start < 10) {
        const struct timespec pause = {0, 20000000};
        nanosleep(&pause, NULL);
    }
    if (ORVSC_GetInt("window", "width", -1) == before) {
        fprintf(stderr, "nothing has changed in 10 seconds\n");
        ORV_close();
        return EXIT_FAILURE;
    }
    printf("the other process's change is here:\n");
    show_int("window", "width");
    ORV_close();
    printf("closed the store: nothing was set here, so the file was not written\n");
    return EXIT_SUCCESS;
}

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "write") == 0)
        return write_settings(argv[2]);
    if (argc == 3 && strcmp(argv[1], "watch") == 0)
        return watch_settings(argv[2]);
    fprintf(stderr, "usage: %s write|watch FILE\n", argv[0]);
    return 2;
}
