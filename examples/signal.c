/* Prints technology and signal whenever they change: cc signal.c $(pkg-config --cflags --libs zelt-sysdb) */
#include <stdio.h>
#include <string.h>

#include <zelt/sysdb.h>

static void describe(struct zelt_reader *reader, char *line, size_t size) {
    char technology[16] = "?";
    int rsrp = ZELT_NOT_REPORTED;
    double sinr = ZELT_NOT_REPORTED;
    zelt_get_string(reader, "CELL_NET_TYPE", technology, sizeof technology);
    zelt_get_int(reader, "CELL_RSRP", &rsrp);
    zelt_get_real(reader, "CELL_SINR", &sinr);
    if (rsrp == ZELT_NOT_REPORTED) {
        snprintf(line, size, "%s, no signal reported", technology);
    } else {
        const int end = snprintf(line, size, "%s, RSRP %d dBm", technology, rsrp);
        if (sinr > ZELT_NOT_REPORTED) {
            snprintf(line + end, size - (size_t)end, ", SINR %.1f dB", sinr);
        }
    }
}

int main(void) {
    struct zelt_reader reader;
    char last[128] = "";
    int result = zelt_reader_init(&reader, NULL, "CELL");
    while (result == 0) {
        char line[128];
        const int missing = zelt_snapshot_begin(&reader);
        if (missing == 0) {
            describe(&reader, line, sizeof line);
        } else {
            snprintf(line, sizeof line, "no values: %s", zelt_strerror(missing));
        }
        zelt_snapshot_end(&reader);
        if (strcmp(line, last) != 0) {
            puts(line);
            result = fflush(stdout);
            strcpy(last, line);
        }
        zelt_wait(&reader, -1);
    }
    zelt_reader_close(&reader);
    return 1;
}
