// A chained hash map with a fixed number of buckets, for the entries of configuration files.
#ifndef QRX_COMMON_MAP_H_
#define QRX_COMMON_MAP_H_

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace qrx {

// strdup with an exception where memory runs out.
inline char* copyText(const char* text) {
  char* copy = strdup(text);
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

template <typename T>
struct Hash;

template <>
struct Hash<char*> {
  uint32_t operator()(const char* key) const {
    uint32_t h = 0;
    for (; *key != '\0'; ++key) {
      // Bytes from 128 up count as negative. NOLINTNEXTLINE(bugprone-signed-char-misuse)
      const auto c = static_cast<uint32_t>(static_cast<signed char>(*key));
      h = 16 * h + 13 * c;
      const uint32_t g = h & 0xF0000000u;
      if (g != 0) h ^= g ^ (g >> 24);
    }
    return h;
  }
};

template <typename T>
struct EqualTo;

template <>
struct EqualTo<char*> {
  bool operator()(const char* a, const char* b) const { return std::strcmp(a, b) == 0; }
};

// K and V are texts from malloc, which the map's nodes own.
template <typename K, typename V, typename HashOf, typename Equal>
class MapBase {
 public:
  struct Node {
    K key;
    V value;
    Node* next;
    Node* previous;
  };

  // Goes through bucket 0 to the last one, in each the newest node first.
  class Iterator {
   public:
    Iterator(const MapBase* owner, uint32_t index)
        : map(owner),
          bucket(index),
          node(index < owner->bucket_count ? owner->head(index) : nullptr) {
      if (node != nullptr) forward_i();
    }

    // Not at the end. NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn)
    const Node& operator*() const { return *node; }
    Iterator& operator++() {
      forward_i();
      return *this;
    }
    bool operator==(const Iterator& other) const {
      return bucket == other.bucket && node == other.node;
    }
    bool operator!=(const Iterator& other) const { return !(*this == other); }

   private:
    void forward_i() {
      node = node->next;
      while (node == map->head(bucket)) {
        if (++bucket == map->bucket_count) {
          node = nullptr;
          return;
        }
        node = map->head(bucket)->next;
      }
    }

    const MapBase* map;
    uint32_t bucket;
    Node* node;
  };

  MapBase() : buckets(nullptr), bucket_count(32), size(0) {
    buckets = static_cast<Node*>(std::malloc(bucket_count * sizeof(Node)));
    if (buckets == nullptr) throw std::bad_alloc();
    for (uint32_t i = 0; i < bucket_count; ++i) {
      buckets[i] = {nullptr, nullptr, &buckets[i], &buckets[i]};
    }
  }
  ~MapBase() {
    clear();
    std::free(buckets);
  }
  MapBase(const MapBase&) = delete;
  MapBase& operator=(const MapBase&) = delete;

  Iterator begin() const { return Iterator(this, 0); }
  Iterator end() const { return Iterator(this, bucket_count); }

  // The node of a key, or null.
  Node* find(const char* key) const {
    Node* const list = bucketOf(key);
    for (Node* node = list->next; node != list; node = node->next) {
      if (Equal()(node->key, key)) return node;
    }
    return nullptr;
  }

  // Puts a key that is not there at the head of its bucket; takes over both texts.
  void insert(K key, V value) {
    Node* const list = bucketOf(key);
    Node* const node = new Node{key, value, list->next, list};
    list->next->previous = node;
    list->next = node;
    ++size;
  }

  void remove(Node* node) {
    node->previous->next = node->next;
    node->next->previous = node->previous;
    std::free(node->key);
    std::free(node->value);
    delete node;
    --size;
  }

  void clear() {
    for (uint32_t i = 0; i < bucket_count; ++i) {
      while (buckets[i].next != &buckets[i]) remove(buckets[i].next);
    }
  }

 private:
  Node* head(uint32_t bucket) const { return &buckets[bucket]; }
  Node* bucketOf(const char* key) const { return head(HashOf()(key) % bucket_count); }

  Node* buckets;  // heads of circular lists
  uint32_t bucket_count;
  uint32_t size;
};

}  // namespace qrx

#endif  // QRX_COMMON_MAP_H_
