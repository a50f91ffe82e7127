// The register-tile loops, written over a vector type. Included once by each compiled form, inside its own unnamed
// namespace and after the definition of `Lanes`, which gives:
//   Vec, WIDTH             the vector and its number of doubles
//   ROWS, COLUMNS          vectors down and columns across in a full tile, so that all sums stay in registers
//   zero, spread, load, store, multiplyAdd(sum, x, y)
//   loadLanes, storeLanes  the same on lanes [from, to) only, 0 <= from, to <= WIDTH; other lanes are zero or untouched
//   transpose(Vec x[WIDTH])  the WIDTH-by-WIDTH matrix with these rows
// No include guard: the text is meant to be compiled several times with different instruction sets.

// Lanes [from, to) of vector v when rows [from, to) of a tile are wanted.
inline int32_t lanesOf(int32_t row, int32_t v) {
  const int32_t lane = row - v * Lanes::WIDTH;
  return lane < 0 ? 0 : (lane > Lanes::WIDTH ? Lanes::WIDTH : lane);
}

struct TileTask {
  int32_t k;
  const double* a;
  int64_t lda;
  const double* b;
  int64_t innerStride;
  int64_t columnStride;
  double* c;
  int64_t ldc;
  Update update;
  Region region;     // FULL unless the tile crosses the diagonal
  int32_t rows;      // of a partial tile
  int32_t diagonal;  // row of the tile at which its column 0 meets the diagonal of C
};

// One tile of V vectors by N columns; the partial form loads and stores only what belongs to it.
template <int V, int N, bool PARTIAL>
void tile(const TileTask& t) {
  using Vec = Lanes::Vec;
  Vec sum[N][V];
#pragma GCC unroll 8
  for (int32_t j = 0; j < N; ++j) {
#pragma GCC unroll 3
    for (int32_t v = 0; v < V; ++v) sum[j][v] = Lanes::zero();
  }
  const int32_t lastLanes = PARTIAL ? t.rows - (V - 1) * Lanes::WIDTH : Lanes::WIDTH;
  const double* a = t.a;
  const double* b = t.b;
  for (int32_t p = 0; p < t.k; ++p) {
    Vec column[V];
#pragma GCC unroll 3
    for (int32_t v = 0; v < V; ++v) {
      column[v] = PARTIAL && v == V - 1 ? Lanes::loadLanes(a + v * Lanes::WIDTH, 0, lastLanes)
                                        : Lanes::load(a + v * Lanes::WIDTH);
    }
#pragma GCC unroll 8
    for (int32_t j = 0; j < N; ++j) {
      const Vec factor = Lanes::spread(b[j * t.columnStride]);
#pragma GCC unroll 3
      for (int32_t v = 0; v < V; ++v) sum[j][v] = Lanes::multiplyAdd(sum[j][v], column[v], factor);
    }
    a += t.lda;
    b += t.innerStride;
  }
#pragma GCC unroll 8
  for (int32_t j = 0; j < N; ++j) {
    double* c = t.c + j * t.ldc;
    const int32_t from = t.region == Region::LOWER ? t.diagonal + j : 0;
    const int32_t below = t.diagonal + j + 1;
    const int32_t to = t.region == Region::UPPER && below < t.rows ? below : t.rows;
#pragma GCC unroll 3
    for (int32_t v = 0; v < V; ++v) {
      double* target = c + v * Lanes::WIDTH;
      if constexpr (PARTIAL) {
        const int32_t low = lanesOf(from, v);
        const int32_t high = lanesOf(to, v);
        if (low >= high) continue;
        const Vec old = t.update == Update::SET ? Lanes::zero() : Lanes::loadLanes(target, low, high);
        Lanes::storeLanes(target, t.update == Update::MINUS ? old - sum[j][v] : old + sum[j][v], low, high);
      } else if (t.update == Update::SET) {
        Lanes::store(target, sum[j][v]);
      } else {
        const Vec old = Lanes::load(target);
        Lanes::store(target, t.update == Update::MINUS ? old - sum[j][v] : old + sum[j][v]);
      }
    }
  }
}

template <int V, int N>
void runTile(bool partial, const TileTask& t) {
  if (partial) {
    tile<V, N, true>(t);
  } else {
    tile<V, N, false>(t);
  }
}

// Picks the tile of `columns` columns.
template <int V, int N>
void tileOfColumns(int32_t columns, bool partial, const TileTask& t) {
  if constexpr (N > 1) {
    if (columns < N) {
      tileOfColumns<V, N - 1>(columns, partial, t);
      return;
    }
  }
  runTile<V, N>(partial, t);
}

// Picks the tile of `vectors` vectors.
template <int V>
void tileOfRows(int32_t vectors, int32_t columns, bool partial, const TileTask& t) {
  if constexpr (V > 1) {
    if (vectors < V) {
      tileOfRows<V - 1>(vectors, columns, partial, t);
      return;
    }
  }
  tileOfColumns<V, Lanes::COLUMNS>(columns, partial, t);
}

// Walks C in strips of rows, each strip from left to right, so that a strip of A stays in the first cache.
void walkTiles(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
               double* c, int64_t ldc) {
  constexpr int32_t STRIP = Lanes::ROWS * Lanes::WIDTH;
  for (int32_t i0 = 0; i0 < m; i0 += STRIP) {
    const int32_t stripEnd = m - i0 < STRIP ? m : i0 + STRIP;
    const int32_t firstColumn = region == Region::UPPER ? i0 / Lanes::COLUMNS * Lanes::COLUMNS : 0;
    const int32_t endColumn = region == Region::LOWER && stripEnd < n ? stripEnd : n;
    for (int32_t j0 = firstColumn; j0 < endColumn; j0 += Lanes::COLUMNS) {
      const int32_t columns = endColumn - j0 < Lanes::COLUMNS ? endColumn - j0 : Lanes::COLUMNS;
      int32_t from = i0;
      int32_t to = stripEnd;
      if (region == Region::LOWER && j0 > i0) from += (j0 - i0) / Lanes::WIDTH * Lanes::WIDTH;
      if (region == Region::UPPER && j0 + columns < to) to = j0 + columns;
      const bool crosses =
          (region == Region::LOWER && j0 + columns - 1 > from) || (region == Region::UPPER && j0 < to - 1);
      const int32_t rows = to - from;
      const int32_t vectors = (rows + Lanes::WIDTH - 1) / Lanes::WIDTH;
      const bool partial = crosses || vectors * Lanes::WIDTH != rows;
      const TileTask t{k,
                       a.at + from,
                       a.columnStride,
                       b.at + j0 * b.columnStride,
                       b.rowStride,
                       b.columnStride,
                       c + from + j0 * ldc,
                       ldc,
                       update,
                       crosses ? region : Region::FULL,
                       rows,
                       j0 - from};
      tileOfRows<Lanes::ROWS>(vectors, columns, partial, t);
    }
  }
}

// Squares of WIDTH in registers, what is left over entry by entry.
void transposeBlocks(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo) {
  constexpr int32_t WIDTH = Lanes::WIDTH;
  const int32_t fullRows = rows / WIDTH * WIDTH;
  const int32_t fullColumns = columns / WIDTH * WIDTH;
  for (int32_t i = 0; i < fullRows; i += WIDTH) {
    for (int32_t p = 0; p < fullColumns; p += WIDTH) {
      Lanes::Vec square[WIDTH];
#pragma GCC unroll 8
      for (int32_t r = 0; r < WIDTH; ++r) square[r] = Lanes::load(from + (i + r) * ldFrom + p);
      Lanes::transpose(square);
#pragma GCC unroll 8
      for (int32_t c = 0; c < WIDTH; ++c) Lanes::store(to + (p + c) * ldTo + i, square[c]);
    }
  }
  for (int32_t i = 0; i < rows; ++i) {
    for (int32_t p = i < fullRows ? fullColumns : 0; p < columns; ++p) to[i + p * ldTo] = from[i * ldFrom + p];
  }
}
