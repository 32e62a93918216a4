/* A gradient to a JPEG file, by the C interface. */
#include <stdio.h>
#include <stdlib.h>

#include "qrx/qrx.h"

int main(void) {
  static unsigned char pixels[480][640][3];
  for (int y = 0; y < 480; ++y) {
    for (int x = 0; x < 640; ++x) pixels[y][x][0] = (unsigned char)(x ^ y);
  }
  /* first picture: begin */
  qrxc_coder* coder = qrxc_open();
  const qrxc_layout layout = {0, 640, 480, QRXC_RGB, 0};
  size_t size = 0, room = qrxc_bound(640, 480, QRXC_RGB, QRXC_420);
  void* jpeg = malloc(room); /* the next line tells of null pointers too */
  if (qrxc_encode(coder, pixels, &layout, 85, QRXC_420, jpeg, room, &size) != QRXC_DONE) {
    fprintf(stderr, "%s\n", qrxc_text(coder));
    return 1;
  }
  FILE* file = fopen("first_picture_c.jpg", "wb");
  if (file == NULL || fwrite(jpeg, 1, size, file) != size || fclose(file) != 0) {
    perror("first_picture_c.jpg");
    return 1;
  }
  /* first picture: end */

  /* And back, bottom row first. */
  static unsigned char back[480][640][3];
  const qrxc_layout up = {-640 * 3, 640, 480, QRXC_RGB, 0};
  qrxc_report report;
  const qrxc_code code = qrxc_decode(coder, jpeg, size, back[479], &up, &report);
  const int near = abs(back[0][100][0] - pixels[479][100][0]) < 64;
  printf("%d.%d on slot %d: %s, %u rows\n", (int)qrxc_version() / 10000,
         (int)qrxc_version() / 100 % 100, (int)qrxc_slot(), qrxc_text(coder), report.rows);
  free(jpeg);
  qrxc_close(coder);
  return code == QRXC_DONE && near ? 0 : 1;
}
