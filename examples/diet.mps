* A diet: the cheapest mix of three foods that gives enough protein and energy.
*
*   minimise  3 OATS + 4 MILK + 5 EGGS
*   PROTEIN   4 OATS + 6 MILK + 12 EGGS >= 36
*   ENERGY   10 OATS + 5 MILK +  6 EGGS >= 42
*   all at least 0
*
* Optimum 19 with OATS = 3, MILK = 0, EGGS = 2. The prices 1/3 of protein and 1/6 of energy prove it: no food is
* worth more than it costs (4/3 + 10/6 = 3, 6/3 + 5/6 < 4, 12/3 + 6/6 = 5), and 36/3 + 42/6 = 19.
NAME          DIET
ROWS
 N  COST
 G  PROTEIN
 G  ENERGY
COLUMNS
    OATS      COST              3.0   PROTEIN           4.0
    OATS      ENERGY           10.0
    MILK      COST              4.0   PROTEIN           6.0
    MILK      ENERGY            5.0
    EGGS      COST              5.0   PROTEIN          12.0
    EGGS      ENERGY            6.0
RHS
    NEED      PROTEIN          36.0   ENERGY           42.0
ENDATA
