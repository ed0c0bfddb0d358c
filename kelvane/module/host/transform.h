/// \file
/// The host's family of plane transforms, and the registry from which it creates them by name.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"
#include "kelvane/module/host/var_a.h"

class TKaXIniReader;
class TKaXIniWriter;

/// A point of the plane.
struct xy_d {
  /// Unit and direction are those of the transform that takes it.
  double x = 0.0;
  double y = 0.0;
};

/// A 3 by 3 matrix of plane homogeneous coordinates, rows first.
struct matr3x3 {
  double Rows[3][3];  ///< `Rows[row][column]`
};

/// A transform of the plane. Virtual operations stand in the order of the interface.
class KELVANE_HOST_API TKa2DTransform {
 public:
  /// Bits of `GetTransformFlags`.
  enum TFlags : unsigned { HasDirect = 1, HasInverse = 2 };

  /// Makes a transform with nothing loaded.
  using TFactory = var_a<TKa2DTransform*> (*)();

  /// The registry: content name to factory. Safe to call from several threads.
  class KELVANE_HOST_API TSerializer {
   public:
    /// Registers a factory. Throws `TKaMessage` when the name is taken.
    static void RegisterName(const char* name, TFactory factory);
    /// Forgets a name; an unknown one is passed over.
    static void UnregisterName(const char* name);
    /// Makes a transform by its content name; empty when the name is unknown.
    static var_a<TKa2DTransform*> CreateByName(const char* name);
  };

  /// The factory of a transform class that can be default-constructed.
  template <class T>
  class TRegistrator {
   public:
    /// A new one, as its default constructor leaves it.
    static var_a<TKa2DTransform*> CreateNewT() { return var_a_legacy::new_a<T>(); }
  };

  virtual ~TKa2DTransform();
  /// A new transform with the same parameters.
  virtual var_a<TKa2DTransform*> CreateCopy() const = 0;
  /// The transform of the opposite direction.
  virtual var_a<TKa2DTransform*> CreateInverseTransform() const = 0;
  /// The target of a source point; where there is none its coordinates are not finite.
  virtual xy_d GetTraCoord(const xy_d& from) const = 0;
  /// The source of a target point, likewise.
  virtual xy_d GetInverseTraCoord(const xy_d& to) const = 0;
  /// One point, telling whether the result is finite; `to` is written in either case.
  virtual bool GetTraCoordB(const xy_d& from, xy_d& to) const;
  virtual bool GetInverseTraCoordB(const xy_d& to, xy_d& from) const;
  /// `count` points, `fromStep` and `toStep` elements apart in their arrays, which may be the same.
  virtual void GetTraCoordM(const xy_d* from, size_t count, size_t fromStep, xy_d* to, size_t toStep) const;
  virtual void GetInverseTraCoordM(const xy_d* to, size_t count, size_t toStep, xy_d* from,
                                   size_t fromStep) const;
  /// Which directions there are, as bits; both unless a class says otherwise.
  virtual unsigned GetTransformFlags() const;
  /// Cost of one point in units of the cheapest transform.
  virtual double GetTransformTime(bool inverse) const;
  /// The transform as a matrix; false, and nothing is written, when it offers none.
  virtual bool GetMatrix(matr3x3* matrix) const;
  virtual bool GetInverseMatrix(matr3x3* matrix) const;
  /// The name under which the registry makes this class.
  virtual const char* GetContentName() const = 0;
  /// Into and from the current section. How failure is told is the transform's: `T2DAffineTransform` throws
  /// `std::runtime_error`.
  virtual void SaveContent(TKaXIniWriter* ini) const = 0;
  virtual void LoadContent(TKaXIniReader* ini) = 0;
};
