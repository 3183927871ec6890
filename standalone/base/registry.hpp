#pragma once
#include <memory>
#include <mutex>
#include <unordered_set>

namespace nq {

// The objects of one kind that a service has handed out: it frees those that nobody gave back.
// Any thread may call it.
template <class T>
class Registry {
  public:
    Registry() = default;
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;
    ~Registry() {
        for (T* object : objects_) delete object;
    }
    void insert(std::unique_ptr<T> object) {
        const std::lock_guard lock(mutex_);
        objects_.insert(object.get());
        static_cast<void>(object.release());  // the set owns it now
    }
    void erase(T* object) noexcept {
        {
            const std::lock_guard lock(mutex_);
            objects_.erase(object);
        }
        delete object;
    }

  private:
    std::mutex mutex_;
    std::unordered_set<T*> objects_;
};

}  // namespace nq
