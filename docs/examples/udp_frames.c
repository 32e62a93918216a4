/* Moving pictures over UDP by the C interface: a server and a client.
 *
 *   udp_frames serve ADDRESS PORT    sends frames of a moving pattern
 *   udp_frames view PORT             decodes what comes, and tells how much of each frame came
 *   udp_frames                       both, on this machine */
#define _POSIX_C_SOURCE 200809L
#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "qrx/qrx.h"

enum { WIDTH = 640, HEIGHT = 480, FRAMES = 20, WINDOW = 7, MOST_SIDE = 4096 };

/* The server. */
struct sender {
  int socket, failed;
};

/* Called for each packet while the frame is being coded. */
static void send_packet(void* user, const uint8_t* packet, size_t size) {
  struct sender* sender = user;
  if (send(sender->socket, packet, size, 0) < 0) sender->failed = 1;
}

static int serve(const char* address, uint16_t port) {
  static uint8_t frame[HEIGHT][WIDTH][3];
  const struct timespec pause = {0, 20 * 1000 * 1000};
  struct sender sender = {socket(AF_INET, SOCK_DGRAM, 0), 0};
  struct sockaddr_in to = {.sin_family = AF_INET, .sin_port = htons(port)};
  if (inet_pton(AF_INET, address, &to.sin_addr) != 1 ||
      connect(sender.socket, (const struct sockaddr*)&to, sizeof to) != 0) {
    fprintf(stderr, "server: no way to %s\n", address);
    return 2;
  }
  qrxc_coder* coder = qrxc_open();
  const qrxc_layout layout = {0, WIDTH, HEIGHT, QRXC_RGB, 0};
  qrxc_code code = coder == NULL ? QRXC_NO_MEMORY : QRXC_DONE;
  for (int index = 1; index <= FRAMES && code == QRXC_DONE; ++index) {
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
      uint8_t* pixel = frame[i / WIDTH][i % WIDTH];
      pixel[0] = (uint8_t)(i % WIDTH / 4 + 2 * index);
      pixel[1] = (uint8_t)(i / WIDTH / 2);
      pixel[2] = (uint8_t)(5 * index);
    }
    const qrxc_place place = {WINDOW, index, 0, 0, 0, {0}};
    code = qrxc_encode_packets(coder, frame, &layout, 80, QRXC_422, &place, send_packet, &sender);
    nanosleep(&pause, NULL);
  }
  if (code != QRXC_DONE) fprintf(stderr, "server: %s\n", qrxc_text(coder));
  if (sender.failed) fprintf(stderr, "server: some packets could not be sent\n");
  qrxc_close(coder);
  close(sender.socket);
  return code == QRXC_DONE ? 0 : 1;
}

/* The client. */
struct view {
  qrxc_coder* coder;
  uint8_t* pixels; /* of the window, kept from frame to frame: what is lost stays as it was */
  qrxc_layout layout;
  int index, frames;
  double came, least; /* share of this frame, and of the worst one */
};

static void end_frame(struct view* view) {
  if (view->index == 0) return;
  printf("frame %d: %.1f%%\n", view->index, 100 * view->came);
  if (view->came < view->least) view->least = view->came;
  ++view->frames;
  view->came = 0;
}

/* What a datagram says is a stranger's word until it was held against what is expected. */
static void take(struct view* view, const uint8_t* data, size_t size) {
  qrxc_packet packet;
  if (qrxc_read_packet(view->coder, data, size, &packet) != QRXC_DONE) return;
  if (packet.place.window != WINDOW || packet.place.index < view->index) return;
  if (packet.width - 1 >= MOST_SIDE || packet.height - 1 >= MOST_SIDE) return; /* none, or huge */
  if (packet.width != view->layout.width || packet.height != view->layout.height) {
    uint8_t* pixels = calloc((size_t)packet.width * packet.height, 3);
    if (pixels == NULL) return;
    free(view->pixels);
    view->pixels = pixels;
    view->layout = (qrxc_layout){0, packet.width, packet.height, QRXC_RGB, 0};
  }
  if (packet.place.index > view->index) {
    end_frame(view);
    view->index = packet.place.index;
  }
  qrxc_report report;
  if (qrxc_decode_packet(view->coder, data, size, view->pixels, &view->layout, NULL, &report) >=
      QRXC_DONE) {
    view->came += report.covered;
  }
}

/* Until two seconds pass without a datagram, or the last frame is whole. */
static int view(int receiver) {
  struct view view = {qrxc_open(), NULL, {0}, 0, 0, 0, 1};
  const struct timeval patience = {2, 0};
  setsockopt(receiver, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  static uint8_t data[65536];
  ssize_t size = 0;
  while (view.coder != NULL && !(view.index == FRAMES && view.came > 0.9999) &&
         (size = recv(receiver, data, sizeof data, 0)) >= 0) {
    take(&view, data, (size_t)size);
  }
  end_frame(&view);
  printf("%d frames, at least %.1f%% of each\n", view.frames, 100 * view.least);
  /* Red of the last frame at the right end. */
  const int right = view.pixels != NULL ? view.pixels[3 * (view.layout.width - 1)] : -1;
  const int well = view.index == FRAMES && abs(right - ((WIDTH - 1) / 4 + 2 * FRAMES)) < 12;
  free(view.pixels);
  qrxc_close(view.coder);
  return well ? 0 : 1;
}

static int receiver_at(uint32_t address, uint16_t port) {
  const struct sockaddr_in here = {
      .sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {htonl(address)}};
  const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
  if (bind(receiver, (const struct sockaddr*)&here, sizeof here) != 0) {
    perror("bind");
    exit(1);
  }
  return receiver;
}

int main(int count, char** words) {
  const uint16_t port = count > 2 ? (uint16_t)atoi(words[count - 1]) : 0;
  if (count == 4 && strcmp(words[1], "serve") == 0) return serve(words[2], port);
  if (count == 3 && strcmp(words[1], "view") == 0) return view(receiver_at(INADDR_ANY, port));
  const int receiver = receiver_at(INADDR_LOOPBACK, 0);
  struct sockaddr_in here;
  socklen_t length = sizeof here;
  if (getsockname(receiver, (struct sockaddr*)&here, &length) != 0) return 1;
  const pid_t server = fork();
  if (server == 0) return serve("127.0.0.1", ntohs(here.sin_port));
  int status = 1, result = view(receiver);
  return waitpid(server, &status, 0) == server && status == 0 ? result : 1;
}
