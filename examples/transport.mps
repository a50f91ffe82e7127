* Transport in free MPS: two plants send all they have to three markets at the least cost.
*
*   cost        market1  market2  market3   supply
*   plantA         4        6        9        20
*   plantB         5        3        8        30
*   demand        10       25       15
*
* Optimum 245: plantA sends 10 to market1 and 10 to market3, plantB sends 25 to market2 and 5 to market3. With the
* duals 0 and -1 of the plants and 4, 4, 9 of the markets no unused road pays: 6 - 0 - 4 = 2 and 5 + 1 - 4 = 2.
NAME transport FREE
ROWS
 N cost
 E plantA
 E plantB
 E market1
 E market2
 E market3
COLUMNS
 A_to_1 cost 4 plantA 1
 A_to_1 market1 1
 A_to_2 cost 6 plantA 1
 A_to_2 market2 1
 A_to_3 cost 9 plantA 1
 A_to_3 market3 1
 B_to_1 cost 5 plantB 1
 B_to_1 market1 1
 B_to_2 cost 3 plantB 1
 B_to_2 market2 1
 B_to_3 cost 8 plantB 1
 B_to_3 market3 1
RHS
 rhs plantA 20 plantB 30
 rhs market1 10 market2 25
 rhs market3 15
ENDATA
