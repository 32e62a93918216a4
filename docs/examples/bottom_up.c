/* Frames as OpenGL gives them, bottom row first, by the C interface and without a copy.
 *
 *   glPixelStorei(GL_PACK_ALIGNMENT, 4);
 *   glPixelStorei(GL_PACK_ROW_LENGTH, STRIDE / 4);  for rows with a gap
 *   glReadPixels(0, 0, WIDTH, HEIGHT, GL_BGRA, GL_UNSIGNED_BYTE, frame);
 *
 * fills memory as render() does here: B, G, R and a fourth byte, the lowest row of the picture
 * first. A program with a window calls these in place of render(), and hands over the same layout.
 * GL_RGBA is QRXC_RGBX; GL_BGR and GL_RGB, at the alignment of 4, begin each row at the next
 * multiple of 4 bytes: (3 * WIDTH + 3) / 4 * 4 is the stride then. In a pixel buffer object `frame`
 * is what glMapBuffer gives. A raw source whose upper row comes first has STRIDE positive, and no
 * `+ top`. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "qrx/qrx.h"

enum { WIDTH = 500, HEIGHT = 300, STRIDE = 4 * WIDTH + 48 /* rows may have a gap */ };

/* Blue at the bottom, red at the top, brighter to the right. */
static void render(uint8_t* frame) {
  for (int y = 0; y < HEIGHT; ++y) {
    uint8_t* pixel = frame + (size_t)y * STRIDE;
    for (int x = 0; x < WIDTH; ++x, pixel += 4) {
      pixel[0] = (uint8_t)(255 - y * 255 / HEIGHT);
      pixel[1] = (uint8_t)(x * 255 / WIDTH);
      pixel[2] = (uint8_t)(y * 255 / HEIGHT);
    }
  }
}

static int farthest(const uint8_t* a, const uint8_t* b) {
  int most = 0;
  for (int y = 0; y < HEIGHT; ++y) {
    const size_t row = (size_t)y * STRIDE;
    for (size_t i = row; i < row + 4 * WIDTH; ++i) {
      const int apart = abs(a[i] - b[i]);
      if (apart > most) most = apart;
    }
  }
  return most;
}

int main(void) {
  const size_t room = qrxc_bound(WIDTH, HEIGHT, QRXC_BGRX, QRXC_422);
  uint8_t* frame = calloc(HEIGHT, STRIDE);
  uint8_t* back = calloc(HEIGHT, STRIDE);
  uint8_t* jpeg = malloc(room);
  qrxc_coder* coder = qrxc_open();
  if (frame == NULL || back == NULL || jpeg == NULL || coder == NULL) return 1;
  render(frame);

  /* The layout begins with the picture's upper row, which is the last one in memory, and goes
   * down by going back. */
  const qrxc_layout layout = {-STRIDE, WIDTH, HEIGHT, QRXC_BGRX, 0};
  const size_t top = (size_t)(HEIGHT - 1) * STRIDE;
  size_t size = 0;
  qrxc_code code = qrxc_encode(coder, frame + top, &layout, 90, QRXC_422, jpeg, room, &size);
  /* And to memory of the same kind, as glDrawPixels or glTexImage2D takes it, with the pixel stores
   * of GL_UNPACK_. */
  if (code == QRXC_DONE) code = qrxc_decode(coder, jpeg, size, back + top, &layout, NULL);
  const int apart = farthest(frame, back);
  printf("%s: %zu bytes, pixels up to %d apart\n", qrxc_text(coder), size, apart);

  FILE* file = fopen("bottom_up.jpg", "wb"); /* any viewer shows it upright */
  const int written = file != NULL && fwrite(jpeg, 1, size, file) == size;
  if (file == NULL || fclose(file) != 0 || !written) perror("bottom_up.jpg");
  qrxc_close(coder);
  free(jpeg);
  free(back);
  free(frame);
  return code == QRXC_DONE && written && apart < 12 ? 0 : 1;
}
