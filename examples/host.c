/* A host of the settings store, in C99: what an application does at its start, while it runs, and
 * at its end.
 *
 *     orv-host write FILE    opens the store, sets a few values, saves, and closes it
 *     orv-host watch FILE    opens the store, prints the values, and waits until another process
 *                            changes the width of the window, or until SIGTERM ends the session
 *
 * The key text comes from the environment variable ORV_SETTINGS_KEY.
 */
#define _POSIX_C_SOURCE 200809L

#include <orv/orv.h>

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

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
        /* The store is open with what could be read, if anything, and the first save would replace
         * the file. A host that will not lose the rest asks its user first, or copies the file;
         * this one just stops. */
        fprintf(stderr, "%s did not load: is the key right, the folder there, the file ours?\n",
                file);
        ORV_close();
        return 0;
    default:
        fprintf(stderr, "refused: put a key text of 32 bytes or more into ORV_SETTINGS_KEY\n");
        return 0;
    }
}

/* Says what became of the values; returns 1 if they are in the file. */
static int report(const char* what, int saved) {
    switch (saved) {
    case ORV_SAVE_OK:
        printf("%s: all values are in the file\n", what);
        return 1;
    case ORV_SAVE_REPLACED: /* a host may want to read its settings again */
        printf("%s: another process has saved meanwhile, and its values have replaced ours\n",
               what);
        return 1;
    default: /* the values are still there: a host that stays open can save them later */
        fprintf(stderr, "%s: the values could not be saved: %s\n", what, strerror(errno));
        return 0;
    }
}

static void set_int(const char* section, const char* key, int value) {
    ORVSC_SetInt(section, key, value);
    printf("  set %s / %s to the integer %d\n", section, key, value);
}

/* Any text, whoever wrote it. */
static void set_text(const char* section, const char* key, const char* value) {
    if (ORVSC_SetText(section, key, value))
        printf("  set %s / %s to \"%s\"\n", section, key, value);
    else
        printf("  %s / %s cannot be the name of a setting\n", section, key);
}

static void show_int(const char* section, const char* key) {
    printf("  %s / %s is %d\n", section, key, ORVSC_GetInt(section, key, -1));
}

static void show_text(const char* section, const char* key) {
    const int length = ORVSC_GetText(section, key, NULL, 0, "(not set)");
    char* text = malloc((size_t)length + 1);
    if (text == NULL)
        exit(EXIT_FAILURE);
    ORVSC_GetText(section, key, text, length + 1, "(not set)");
    printf("  %s / %s is \"%s\"\n", section, key, text);
    free(text);
}

static int write_settings(const char* file) {
    char names[256];
    if (!open_store(file))
        return EXIT_FAILURE;
    set_int("window", "width", 800);
    set_int("window", "height", 600);
    set_text("user", "name", "Ada Lovelace <ada@example.org>");
    set_text("net/proxy", "host", "gateway.example"); /* a nested path */
    set_int("net/proxy", "port", 8080);
    set_text("net/proxy", "host name", "two words");
    set_text("user", "birthday", "forgotten at once");
    ORVSC_Remove("user", "birthday");
    /* A save takes a tenth of a second, so it is done at a pause, not after each change. */
    if (!report("saved", ORV_save()))
        return EXIT_FAILURE;
    ORVSC_GetNames(NULL, names, sizeof names);
    printf("the sections:\n%s", names);
    return report("closed", ORV_close()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

static volatile sig_atomic_t session_ends; /* only a flag: a handler must not call the library */

static void end_session(int signal) {
    (void)signal;
    session_ends = 1;
}

/* The main loop of an application: other threads may get and set as well. */
static int wait_for_change(int before) {
    const struct timespec pause = {0, 20000000};
    int rounds;
    for (rounds = 0; rounds < 500 && !session_ends; ++rounds) {
        if (ORVSC_Reloads() > 0 && ORVSC_GetInt("window", "width", -1) != before)
            return 1;
        nanosleep(&pause, NULL);
    }
    return 0;
}

static int watch_settings(const char* file) {
    struct sigaction action;
    if (!open_store(file))
        return EXIT_FAILURE;
    memset(&action, 0, sizeof action);
    action.sa_handler = end_session;
    sigaction(SIGTERM, &action, NULL);

    show_int("window", "width");
    show_int("Window", "HEIGHT"); /* letter case does not matter */
    show_text("user", "name");
    show_text("net/proxy", "host");
    show_int("net", "proxy/port"); /* the same path, split differently */
    show_text("user", "birthday");

    printf("waiting for another process to change the width\n");
    fflush(stdout);
    if (wait_for_change(ORVSC_GetInt("window", "width", -1))) {
        printf("the other process's change is here:\n");
        show_int("window", "width");
    } else {
        printf(session_ends ? "the session ends\n" : "nothing has changed in 10 seconds\n");
        set_int("session", "ended", 1);
    }
    return report("closed", ORV_close()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "write") == 0)
        return write_settings(argv[2]);
    if (argc == 3 && strcmp(argv[1], "watch") == 0)
        return watch_settings(argv[2]);
    fprintf(stderr, "usage: %s write|watch FILE\n", argv[0]);
    return 2;
}
