* A model without any solution: 30 pieces in two stores, and 35 asked for.
*
* The proof (Farkas): add up the two store rows and take away the two customer rows. All that is sent cancels out,
* and 0 <= 30 - 35 remains.
NAME          SHORTAGE
ROWS
 N  COST
 L  STORE1
 L  STORE2
 G  CUST1
 G  CUST2
COLUMNS
    S1C1      COST              1.0   STORE1            1.0
    S1C1      CUST1             1.0
    S1C2      COST              2.0   STORE1            1.0
    S1C2      CUST2             1.0
    S2C1      COST              3.0   STORE2            1.0
    S2C1      CUST1             1.0
    S2C2      COST              1.0   STORE2            1.0
    S2C2      CUST2             1.0
RHS
    RHS       STORE1           10.0   STORE2           20.0
    RHS       CUST1            15.0   CUST2            20.0
ENDATA
