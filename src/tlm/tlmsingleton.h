// The singleton shape of the core's managers: Instance() creates on first use, release() destroys.
#ifndef TLM_TLMSINGLETON_H
#define TLM_TLMSINGLETON_H

// T befriends CSingleton<T> and keeps its constructor and destructor private. Instance() takes no
// lock: every manager is first touched in single-threaded start-up, and released after the
// threads that use it have stopped.
template <typename T>
class CSingleton {
 public:
  static T *Instance() {
    if (instance_ == nullptr) instance_ = new T();
    return instance_;
  }
  static void release() {
    delete instance_;
    instance_ = nullptr;
  }
  // The instance if there is one; never creates.
  static T *Existing() { return instance_; }

 private:
  inline static T *instance_ = nullptr;
};

#endif  // TLM_TLMSINGLETON_H
